#include "lock/PasscodeSeal.h"

#include "lock/PasscodeRecord.h"
#include "lock/PasscodeStore.h"

#include <gtest/gtest.h>

#include <numeric>

namespace {

/// The bytes first, first + 1, first + 2 …
std::string count(std::size_t size, char first) {
    std::string result(size, '\0');
    std::iota(result.begin(), result.end(), first);
    return result;
}

/// Made by another implementation, Python 3 with the "cryptography" package:
///
///     salt, nonce = bytes(range(16)), bytes(range(0x20, 0x2c))
///     key = hashlib.pbkdf2_hmac("sha256", code.encode(), salt, 210000, 32)
///     box = nonce + AESGCM(key).encrypt(nonce, password.encode(), None)
///     json.dumps({"digits": len(code), "username": username, "salt": base64.b64encode(salt).decode(),
///                 "sealed": base64.b64encode(box).decode()}, separators=(",", ":"), ensure_ascii=False)
struct Known {
    const char* code;
    const char* username;
    const char* password;
    const char* record;
};
constexpr Known knownRecords[] = {
    {"2468", "zoë", "pässwörd 🙂 with spaces",
     R"({"digits":4,"username":"zoë","salt":"AAECAwQFBgcICQoLDA0ODw==",)"
     R"("sealed":"ICEiIyQlJicoKSoriUjn3V7ROC/jGZ6Bfc4xo92Ts9lrp+EvQEPGESygnHL2cSRJqnQFbbkRXg=="})"},
    {"12345678", "ann", "",
     R"({"digits":8,"username":"ann","salt":"AAECAwQFBgcICQoLDA0ODw==",)"
     R"("sealed":"ICEiIyQlJicoKSordi7OWQYICDwZJBa/tBpc+w=="})"},
};

} // namespace

TEST(PasscodeSeal, staysShutForAnotherKeyAndForABoxThatHasBeenChangedOrCut) {
    const SecretText key(count(32, 1));
    const auto box = PasscodeSeal::seal(key, count(12, 64), SecretText("password"));
    const std::string whole(box.view());
    EXPECT_FALSE(PasscodeSeal::open(SecretText(count(32, 2)), box));
    for (std::size_t index = 0; index < whole.size(); ++index) {
        auto changed = whole;
        changed[index] = static_cast<char>(changed[index] ^ 1);
        EXPECT_FALSE(PasscodeSeal::open(key, SecretText(std::move(changed)))) << index;
        EXPECT_FALSE(PasscodeSeal::open(key, SecretText(whole.substr(0, index)))) << index;
    }
    EXPECT_FALSE(PasscodeSeal::open(key, SecretText(whole + '\0')));
}

TEST(PasscodeSeal, agreesWithAnotherImplementationInBothDirections) {
    PasscodeStore store(Passcode::deriveKey);
    for (const auto& [code, username, password, record] : knownRecords) {
        store.keychain.item = record;
        EXPECT_EQ(store.unlock(code), std::string(username) + ": " + password);
        const SecretText salt(count(16, 0));
        const auto key = Passcode::deriveKey(SecretText(code), salt);
        const PasscodeRecord made = {static_cast<int>(std::strlen(code)), username, salt.copy(),
                                     PasscodeSeal::seal(key, count(12, 0x20), SecretText(password))};
        EXPECT_EQ(made.text().view(), record);
    }
    // The order of the members does not matter, and there may be more of them.
    store.keychain.item = R"( {"later": [{}], "sealed": "ICEiIyQlJicoKSordi7OWQYICDwZJBa/tBpc+w==",)"
                          R"("salt": "AAECAwQFBgcICQoLDA0ODw==", "username": "ann", "digits": 8} )";
    EXPECT_EQ(store.unlock("12345678"), "ann: ");
}
