#include "lock/PasscodeText.h"

#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>

namespace {

/// A copy of a passcode, wiped at its end.
class Copy {
public:
    explicit Copy(std::string_view text)
        : text_(icu::UnicodeString::fromUTF8(
              icu::StringPiece(text.data(), static_cast<int32_t>(text.size())))) {}
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;
    ~Copy() {
        const auto capacity = text_.getCapacity();
        if (auto* const buffer = text_.getBuffer(capacity)) {
            explicit_bzero(buffer, static_cast<std::size_t>(capacity) * sizeof *buffer);
            text_.releaseBuffer(0);
        }
    }
    const icu::UnicodeString& text() const { return text_; }

private:
    icu::UnicodeString text_;
};

/// Calls `visit` with each character in order until it answers false.
void eachCharacter(std::string_view text, const std::function<bool(const icu::UnicodeString&)>& visit) {
    const Copy copy(text);
    const auto& unicode = copy.text();
    auto status = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> iterator(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status))
        throw std::runtime_error("the Unicode data is missing");
    iterator->setText(unicode);
    auto begin = iterator->first();
    for (auto end = iterator->next(); end != icu::BreakIterator::DONE; begin = end, end = iterator->next())
        if (!visit(unicode.tempSubStringBetween(begin, end)))
            return;
}

} // namespace

std::size_t PasscodeText::characters(std::string_view text) {
    std::size_t count = 0;
    eachCharacter(text, [&count](const icu::UnicodeString&) {
        count += 1;
        return true;
    });
    return count;
}

std::string PasscodeText::numbers(std::string_view text, std::size_t maximum) {
    std::string result;
    std::size_t count = 0;
    eachCharacter(text, [&](const icu::UnicodeString& character) {
        if (count == maximum)
            return false;
        if (u_getIntPropertyValue(character.char32At(0), UCHAR_NUMERIC_TYPE) != U_NT_NONE) {
            character.toUTF8String(result);
            count += 1;
        }
        return true;
    });
    return result;
}
