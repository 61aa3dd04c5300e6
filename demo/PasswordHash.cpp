#include "demo/PasswordHash.h"

#include "demo/Random.h"
#include "platform/linux/GPtr.h"

#include <glib.h>
#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>
#include <nlohmann/json.hpp>

#include <stdexcept>

namespace Demo {

namespace {

constexpr unsigned defaultRounds = 60'000;
constexpr unsigned maximumRounds = 10'000'000; // a damaged file must not stall the service
constexpr std::size_t saltLength = 16;
constexpr std::size_t keyLength = 32;

gnutls_datum_t datum(std::string_view text) {
    // GnuTLS takes its input through a pointer to non-const and leaves it alone.
    auto* data = reinterpret_cast<unsigned char*>(const_cast<char*>(text.data()));
    return {data, static_cast<unsigned>(text.size())};
}

std::string derive(std::string_view password, std::string_view salt, unsigned rounds) {
    const gnutls_datum_t secret = datum(password);
    const gnutls_datum_t spice = datum(salt);
    std::string key(keyLength, '\0');
    const int result = gnutls_pbkdf2(GNUTLS_MAC_SHA256, &secret, &spice, rounds, key.data(), key.size());
    if (result < 0)
        throw std::runtime_error(gnutls_strerror(result));
    return key;
}

std::string encode(const std::string& bytes) {
    return GText(g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size())).get();
}

std::string decode(const std::string& text, std::size_t length) {
    gsize size = 0;
    const std::unique_ptr<guchar, GFree> bytes(g_base64_decode(text.c_str(), &size));
    if (size != length)
        throw std::runtime_error("password hash of the wrong length");
    return {reinterpret_cast<const char*>(bytes.get()), size};
}

} // namespace

PasswordHash::PasswordHash(unsigned rounds, std::string salt, std::string key)
    : rounds_(rounds), salt_(std::move(salt)), key_(std::move(key)) {}

PasswordHash PasswordHash::of(std::string_view password) {
    std::string salt = Random::bytes(saltLength);
    std::string key = derive(password, salt, defaultRounds);
    return {defaultRounds, std::move(salt), std::move(key)};
}

bool PasswordHash::matches(std::string_view password) const {
    const std::string key = derive(password, salt_, rounds_);
    return gnutls_memcmp(key.data(), key_.data(), keyLength) == 0;
}

nlohmann::json PasswordHash::toJson() const {
    return {{"rounds", rounds_}, {"salt", encode(salt_)}, {"key", encode(key_)}};
}

PasswordHash PasswordHash::fromJson(const nlohmann::json& json) {
    const auto rounds = json.at("rounds").get<unsigned>();
    if (rounds == 0 || rounds > maximumRounds)
        throw std::runtime_error("password hash with an impossible number of rounds");
    return {rounds, decode(json.at("salt").get<std::string>(), saltLength),
            decode(json.at("key").get<std::string>(), keyLength)};
}

} // namespace Demo
