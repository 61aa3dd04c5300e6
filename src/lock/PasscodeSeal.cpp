#include "lock/PasscodeSeal.h"

#include "platform/Error.h"

#include <nettle/gcm.h>
#include <nettle/hmac.h>
#include <nettle/memops.h>
#include <nettle/pbkdf2.h>
#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace {

const std::uint8_t* bytesOf(std::string_view text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

std::uint8_t* bytesOf(std::string& text) {
    return reinterpret_cast<std::uint8_t*>(text.data());
}

/// A plain C value that holds a secret: wiped at its end.
template <class Value>
class Wiped {
public:
    Wiped() = default;
    Wiped(const Wiped&) = delete;
    Wiped& operator=(const Wiped&) = delete;
    ~Wiped() { explicit_bzero(&value_, sizeof value_); }

    Value* get() { return &value_; }

private:
    Value value_ = {};
};

using Cipher = Wiped<gcm_aes256_ctx>;
using Tag = std::array<std::uint8_t, PasscodeSeal::tagBytes>;

static_assert(PasscodeSeal::keyBytes == AES256_KEY_SIZE && PasscodeSeal::nonceBytes == GCM_IV_SIZE &&
              PasscodeSeal::tagBytes == GCM_DIGEST_SIZE);

void start(Cipher& cipher, const SecretText& key, std::string_view nonce) {
    if (key.view().size() != PasscodeSeal::keyBytes || nonce.size() != PasscodeSeal::nonceBytes)
        throw std::invalid_argument("not a key and a nonce of AES-256-GCM");
    gcm_aes256_set_key(cipher.get(), bytesOf(key.view()));
    gcm_aes256_set_iv(cipher.get(), nonce.size(), bytesOf(nonce));
}

} // namespace

std::string PasscodeSeal::randomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    std::size_t filled = 0;
    while (filled < count) {
        const auto got = ::getrandom(bytes.data() + filled, count - filled, 0);
        if (got >= 0)
            filled += static_cast<std::size_t>(got);
        else if (errno != EINTR)
            throw Error(std::generic_category().message(errno), errno);
    }
    return bytes;
}

SecretText PasscodeSeal::deriveKey(const SecretText& code, std::string_view salt, unsigned iterations,
                                   std::size_t length) {
    // nettle's shorter call, pbkdf2_hmac_sha256(), leaves the state of the HMAC, which stands for the
    // passcode, on the stack.
    Wiped<hmac_sha256_ctx> hmac;
    hmac_sha256_set_key(hmac.get(), code.view().size(), bytesOf(code.view()));
    std::string key(length, '\0');
    PBKDF2(hmac.get(), hmac_sha256_update, hmac_sha256_digest, SHA256_DIGEST_SIZE, iterations, salt.size(),
           bytesOf(salt), length, bytesOf(key));
    SecretRoom::wipeStack();
    return SecretText(std::move(key));
}

SecretText PasscodeSeal::seal(const SecretText& key, std::string_view nonce, const SecretText& plaintext) {
    Cipher cipher;
    start(cipher, key, nonce);
    const auto size = plaintext.view().size();
    std::string box(nonceBytes + size + tagBytes, '\0');
    nonce.copy(box.data(), nonceBytes);
    auto* ciphertext = bytesOf(box) + nonceBytes;
    gcm_aes256_encrypt(cipher.get(), size, ciphertext, bytesOf(plaintext.view()));
    gcm_aes256_digest(cipher.get(), tagBytes, ciphertext + size);
    return SecretText(std::move(box));
}

std::optional<SecretText> PasscodeSeal::open(const SecretText& key, const SecretText& box) {
    const auto content = box.view();
    if (content.size() < nonceBytes + tagBytes)
        return std::nullopt;
    Cipher cipher;
    start(cipher, key, content.substr(0, nonceBytes));
    const auto ciphertext = content.substr(nonceBytes, content.size() - nonceBytes - tagBytes);
    std::string text(ciphertext.size(), '\0');
    gcm_aes256_decrypt(cipher.get(), ciphertext.size(), bytesOf(text), bytesOf(ciphertext));
    SecretText plaintext(std::move(text));
    Tag tag = {};
    gcm_aes256_digest(cipher.get(), tag.size(), tag.data());
    if (!memeql_sec(tag.data(), content.data() + nonceBytes + ciphertext.size(), tag.size()))
        return std::nullopt;
    return plaintext;
}
