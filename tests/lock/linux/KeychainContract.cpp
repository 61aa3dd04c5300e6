#include "fakes/FakeLock.h"
#include "linux/MainLoop.h"
#include "lock/linux/KeyringDaemon.h"
#include "lock/linux/SecretServiceKeychain.h"

#include <gtest/gtest.h>

namespace {

struct Fake {
    FakeKeychain keychain;

    void refuse() { keychain.refusal = Keychain::Refused("full"); }
    void allow() { keychain.refusal.reset(); }
    void goAway() { keychain.unavailable = "gone"; }
    void comeBack() { keychain.unavailable.reset(); }
};

struct Real {
    KeyringDaemon daemon;
    SecretServiceKeychain keychain{"app.brisko.Test"};

    void refuse() { daemon.setDisk(0); }
    void allow() { daemon.setDisk(RLIM_INFINITY); }
    void goAway() { daemon.kill(); }
    void comeBack() { daemon.start(); }
};

template <class Kind>
class KeychainContract : public testing::Test {
protected:
    Kind kind;

    std::string read() {
        const auto data = MainLoop::finish(kind.keychain.read());
        return data ? std::string(data->view()) : "none";
    }
    void write(std::string_view data) { MainLoop::finish(kind.keychain.write(SecretText(data))); }
    void remove() { MainLoop::finish(kind.keychain.remove()); }
};

using Kinds = testing::Types<Fake, Real>;
TYPED_TEST_SUITE(KeychainContract, Kinds);

} // namespace

TYPED_TEST(KeychainContract, keepsOneItemUntilItIsReplacedOrRemoved) {
    EXPECT_EQ(this->read(), "none");
    this->remove();
    for (const auto* data : {R"({"digits":4,"username":"zoë 🙂"})", "", "second"}) {
        this->write(data);
        EXPECT_EQ(this->read(), data);
        EXPECT_EQ(this->read(), data);
    }
    this->remove();
    EXPECT_EQ(this->read(), "none");
}

TYPED_TEST(KeychainContract, keepsTheEarlierItemWhenAnotherIsRefused) {
    for (const auto* standing : {"none", "first"}) {
        if (standing != std::string("none"))
            this->write(standing);
        this->kind.refuse();
        EXPECT_THROW(this->write("second"), Keychain::Refused);
        this->kind.allow();
        EXPECT_EQ(this->read(), standing);
    }
}

TYPED_TEST(KeychainContract, tellsAKeyringThatIsNotThereFromAnEmptyOne) {
    this->write("first");
    this->kind.goAway();
    EXPECT_THROW(this->read(), Keychain::Unavailable);
    EXPECT_THROW(this->write("second"), Keychain::Unavailable);
    EXPECT_THROW(this->remove(), Keychain::Unavailable);
    this->kind.comeBack();
    EXPECT_EQ(this->read(), "first");
    this->write("third");
    EXPECT_EQ(this->read(), "third");
}
