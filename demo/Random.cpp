#include "demo/Random.h"

#include "platform/linux/GPtr.h"

#include <glib.h>
#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <system_error>

namespace Demo::Random {

std::string bytes(std::size_t count) {
    std::string result(count, '\0');
    std::size_t filled = 0;
    while (filled < count) {
        const ssize_t got = getrandom(result.data() + filled, count - filled, 0);
        if (got < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "getrandom");
        if (got > 0)
            filled += static_cast<std::size_t>(got);
    }
    return result;
}

std::uint32_t below(std::uint32_t limit) {
    // Values above the last whole multiple of the limit would favour the small remainders.
    const std::uint32_t end = std::numeric_limits<std::uint32_t>::max() / limit * limit;
    for (;;) {
        std::uint32_t value = 0;
        const std::string raw = bytes(sizeof value);
        std::copy(raw.begin(), raw.end(), reinterpret_cast<char*>(&value));
        if (value < end)
            return value % limit;
    }
}

std::string token() {
    const std::string raw = bytes(24);
    const GText encoded(g_base64_encode(reinterpret_cast<const guchar*>(raw.data()), raw.size()));
    std::string text = encoded.get();
    std::replace(text.begin(), text.end(), '+', '-');
    std::replace(text.begin(), text.end(), '/', '_');
    return text;
}

} // namespace Demo::Random
