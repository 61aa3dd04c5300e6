#include "lock/PasscodeRecord.h"

#include "platform/Base64.h"
#include "platform/Error.h"

#include <nlohmann/json.hpp>

#include <cstring>
#include <limits>
#include <memory>

namespace {

/// Memory that is wiped before it is given back.
template <class T>
struct WipingAllocator {
    using value_type = T;

    WipingAllocator() = default;
    template <class Other>
    WipingAllocator(const WipingAllocator<Other>&) {}

    T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* memory, std::size_t count) {
        explicit_bzero(static_cast<void*>(memory), count * sizeof(T));
        std::allocator<T>().deallocate(memory, count);
    }
    bool operator==(const WipingAllocator&) const { return true; }
};

/// JSON whose texts, those that its parser holds meanwhile included, are wiped.
using WipedString = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;
using WipedJson = nlohmann::basic_json<nlohmann::ordered_map, std::vector, WipedString>;

std::optional<std::int64_t> integerAt(const WipedJson& record, const char* key) {
    const auto found = record.find(key);
    if (found == record.end() || !found->is_number_integer())
        return std::nullopt;
    if (found->is_number_unsigned() &&
        found->get<std::uint64_t>() > std::uint64_t(std::numeric_limits<std::int64_t>::max()))
        return std::nullopt;
    return found->get<std::int64_t>();
}

std::optional<std::string_view> textAt(const WipedJson& record, const char* key) {
    const auto found = record.find(key);
    if (found == record.end() || !found->is_string())
        return std::nullopt;
    return found->get_ref<const WipedString&>();
}

std::optional<SecretText> bytesAt(const WipedJson& record, const char* key) {
    const auto encoded = textAt(record, key);
    auto decoded = encoded ? decodeBase64(*encoded) : std::nullopt;
    if (!decoded)
        return std::nullopt;
    return SecretText(std::move(*decoded));
}

WipedString base64Of(const SecretText& bytes) {
    const SecretText base64(encodeBase64(bytes.view()));
    return WipedString(base64.view());
}

} // namespace

std::optional<PasscodeRecord> PasscodeRecord::parse(const SecretText& text) {
    const auto content = text.view();
    const auto record = WipedJson::parse(content.begin(), content.end(), nullptr, false);
    if (!record.is_object())
        return std::nullopt;
    const auto digits = integerAt(record, "digits");
    const auto username = textAt(record, "username");
    auto salt = bytesAt(record, "salt");
    auto sealed = bytesAt(record, "sealed");
    if (!digits || !username || !salt || !sealed)
        return std::nullopt;
    return PasscodeRecord{*digits, std::string(*username), std::move(*salt), std::move(*sealed)};
}

SecretText PasscodeRecord::text() const {
    auto record = WipedJson::object();
    record["digits"] = digits;
    record["username"] = WipedString(username);
    record["salt"] = base64Of(salt);
    record["sealed"] = base64Of(sealed);
    try {
        return SecretText(std::string_view(record.dump()));
    } catch (const WipedJson::exception& failure) {
        throw Error(failure.what());
    }
}
