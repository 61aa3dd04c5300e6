#pragma once

#include <exception>
#include <string>
#include <utility>

/// An error that a person may read: `what()` is a complete, localised description, shown unchanged.
///
/// `code` is the number by which its source tells it apart from the source's other errors; what it means
/// depends on the source. No two sources share a meaning, so a caller looks at the type first, except where a
/// rule says otherwise.
class Error : public std::exception {
public:
    explicit Error(std::string description, int code = 0)
        : description_(std::move(description)), code_(code) {}

    const char* what() const noexcept override { return description_.c_str(); }
    int code() const { return code_; }

private:
    std::string description_;
    int code_;
};

/// A request that got no answer: no connection, name look-up, TLS, time-out, cancellation and the like.
class TransportError : public Error {
public:
    enum class Reason { cancelled, timedOut, untrusted, other };

    TransportError(Reason reason, std::string description)
        : Error(std::move(description), -1 - static_cast<int>(reason)), reason_(reason) {}

    Reason reason() const { return reason_; }

private:
    Reason reason_;
};

/// A sign-in in the browser that ended without an answer.
class WebAuthenticationError : public Error {
public:
    /// The person gave up: the code by which the sign-in screen knows to say nothing.
    static constexpr int cancelledLogin = 1;

    using Error::Error;
};

/// What a person reads of any failure.
inline std::string localizedDescription(const std::exception& failure) {
    return failure.what();
}
