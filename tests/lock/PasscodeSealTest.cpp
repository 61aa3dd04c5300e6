#include "lock/PasscodeSeal.h"

#include "lock/Passcode.h"
#include "lock/PasscodeRecord.h"

#include <gtest/gtest.h>

#include <numeric>

namespace {

SecretText secret(std::string_view text) {
    return SecretText(text);
}

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
    const auto key = secret(count(32, 1));
    const auto box = PasscodeSeal::seal(key, count(12, 64), secret("password"));
    const std::string whole(box.view());
    EXPECT_FALSE(PasscodeSeal::open(secret(count(32, 2)), box));
    for (std::size_t index = 0; index < whole.size(); ++index) {
        auto changed = whole;
        changed[index] = static_cast<char>(changed[index] ^ 1);
        EXPECT_FALSE(PasscodeSeal::open(key, secret(changed))) << index;
        EXPECT_FALSE(PasscodeSeal::open(key, secret(whole.substr(0, index)))) << index;
    }
    EXPECT_FALSE(PasscodeSeal::open(key, secret(whole + '\0')));
}

TEST(PasscodeSeal, agreesWithAnotherImplementationInBothDirections) {
    for (const auto& known : knownRecords) {
        const auto record = PasscodeRecord::parse(secret(known.record));
        ASSERT_TRUE(record) << known.record;
        EXPECT_EQ(record->username, known.username);
        const auto key =
            PasscodeSeal::deriveKey(secret(known.code), record->salt.view(), Passcode::iterations);
        const auto password = PasscodeSeal::open(key, record->sealed);
        ASSERT_TRUE(password) << known.record;
        EXPECT_EQ(password->view(), known.password);

        const PasscodeRecord made = {record->digits, known.username, secret(count(16, 0)),
                                     PasscodeSeal::seal(key, count(12, 0x20), secret(known.password))};
        EXPECT_EQ(made.text().view(), known.record);
    }
}
