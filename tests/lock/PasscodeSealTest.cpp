#include "lock/PasscodeSeal.h"

#include "lock/Passcode.h"
#include "lock/PasscodeRecord.h"

#include <gtest/gtest.h>

#include <numeric>
#include <set>

namespace {

std::string bytes(std::string_view hexadecimal) {
    std::string result;
    for (std::size_t index = 0; index < hexadecimal.size(); index += 2)
        result += static_cast<char>(std::stoi(std::string(hexadecimal.substr(index, 2)), nullptr, 16));
    return result;
}

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

TEST(PasscodeSeal, derivesTheKeysOfRfc7914) {
    // RFC 7914, section 11.
    EXPECT_EQ(PasscodeSeal::deriveKey(secret("passwd"), "salt", 1, 64).view(),
              bytes("55ac046e56e3089fec1691c22544b605f94185216dde0465e68b9d57c20dacbc"
                    "49ca9cccf179b645991664b39d77ef317c71b845b1e30bd509112041d3a19783"));
    EXPECT_EQ(PasscodeSeal::deriveKey(secret("Password"), "NaCl", 80000, 64).view(),
              bytes("4ddcd8f60b98be21830cee5ef22701f9641a4418d04c0414aeff08876b34ab56"
                    "a1d425a1225833549adb841b51c9b3176a272bdebba1d078478f62b397f33c8d"));
}

TEST(PasscodeSeal, makesAndOpensThePublishedBoxes) {
    // D. McGrew, J. Viega: The Galois/Counter Mode of Operation (GCM), appendix B, test cases 13, 14 and 15.
    struct Case {
        std::string key, nonce, plaintext, sealed;
    };
    const Case cases[] = {
        {std::string(64, '0'), std::string(24, '0'), "", "530f8afbc74536b9a963b4f1c4cb738b"},
        {std::string(64, '0'), std::string(24, '0'), std::string(32, '0'),
         "cea7403d4d606b6e074ec5d3baf39d18d0d1c8a799996bf0265b98b5d48ab919"},
        {"feffe9928665731c6d6a8f9467308308feffe9928665731c6d6a8f9467308308", "cafebabefacedbaddecaf888",
         "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a721c3c0c95956809532fcf0e2449a6b525"
         "b16aedf5aa0de657ba637b391aafd255",
         "522dc1f099567d07f47f37a32a84427d643a8cdcbfe5c0c97598a2bd2555d1aa8cb08e48590dbb3da7b08b1056828838"
         "c5f61e6393ba7a0abcc9f662898015adb094dac5d93471bdec1a502270e3cc6c"},
    };
    for (const auto& [key, nonce, plaintext, sealed] : cases) {
        const auto box = PasscodeSeal::seal(secret(bytes(key)), bytes(nonce), secret(bytes(plaintext)));
        EXPECT_EQ(box.view(), bytes(nonce + sealed));
        const auto opened = PasscodeSeal::open(secret(bytes(key)), box);
        ASSERT_TRUE(opened);
        EXPECT_EQ(opened->view(), bytes(plaintext));
    }
}

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

TEST(PasscodeSeal, drawsDifferentBytesEachTime) {
    std::set<std::string> drawn;
    for (int time = 0; time < 100; ++time)
        drawn.insert(PasscodeSeal::randomBytes(16));
    EXPECT_EQ(drawn.size(), 100U);
    EXPECT_EQ(drawn.begin()->size(), 16U);
}
