#include "lock/PasscodeSeal.h"

#include "lock/PasscodeRecord.h"
#include "lock/PasscodeStore.h"

#include <numeric>

namespace {

/// The bytes first, first + 1, first + 2 …
SecretText count(std::size_t size, char first) {
    std::string result(size, '\0');
    std::iota(result.begin(), result.end(), first);
    return SecretText(std::move(result));
}

} // namespace

TEST(PasscodeSeal, agreesWithAnotherImplementation) {
    // Made by Python 3 with the "cryptography" package:
    //
    //     salt, nonce = bytes(range(16)), bytes(range(0x20, 0x2c))
    //     key = hashlib.pbkdf2_hmac("sha256", "2468".encode(), salt, 210000, 32)
    //     box = nonce + AESGCM(key).encrypt(nonce, "pässwörd 🙂 with spaces".encode(), None)
    //     json.dumps({"digits": 4, "username": "zoë", "salt": base64.b64encode(salt).decode(),
    //                 "sealed": base64.b64encode(box).decode()}, separators=(",", ":"), ensure_ascii=False)
    const std::string first = R"("digits":4,"username":"zoë","salt":"AAECAwQFBgcICQoLDA0ODw==",)";
    const std::string last =
        R"("sealed":"ICEiIyQlJicoKSoriUjn3V7ROC/jGZ6Bfc4xo92Ts9lrp+EvQEPGESygnHL2cSRJqnQF)"
        R"(bbkRXg==")";
    PasscodeStore store(Passcode::deriveKey);
    // The order of the members does not matter, and there may be more of them.
    for (const auto& record : {first + last, R"("later": [{}], )" + last + "," + first + R"("x":1)"}) {
        store.keychain.item = "{" + record + "}";
        EXPECT_EQ(store.unlock("2468"), "zoë: pässwörd 🙂 with spaces");
    }
    const auto key = Passcode::deriveKey(SecretText("2468"), count(16, 0));
    const auto box = PasscodeSeal::seal(key, count(12, 0x20).view(), SecretText("pässwörd 🙂 with spaces"));
    EXPECT_EQ(PasscodeRecord({4, "zoë", count(16, 0), box.copy()}).text().view(), "{" + first + last + "}");
}

TEST(PasscodeSeal, staysShutOnceABitHasChangedOrAByteIsMissing) {
    const auto key = count(32, 1);
    const auto box = PasscodeSeal::seal(key, count(12, 0x20).view(), SecretText("secret"));
    EXPECT_EQ(PasscodeSeal::open(key, box), SecretText("secret"));
    EXPECT_FALSE(PasscodeSeal::open(count(32, 2), box));
    for (std::size_t index = 0; index < box.view().size(); ++index) {
        std::string changed(box.view());
        changed[index] = static_cast<char>(changed[index] ^ 1);
        EXPECT_FALSE(PasscodeSeal::open(key, SecretText(std::move(changed)))) << index;
        EXPECT_FALSE(PasscodeSeal::open(key, SecretText(box.view().substr(0, index)))) << index;
    }
}
