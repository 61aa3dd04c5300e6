#pragma once

#include "platform/CookieJar.h"
#include "platform/linux/GPtr.h"

#include <libsoup/soup.h>

#include <filesystem>

/// The client's cookies: libsoup's jar, which applies RFC 6265, and a file that outlives the process (mode 0600 in a
/// folder of mode 0700), written whole, synced and renamed on every change.
///
/// libsoup's own jar files are rewritten in place, which can lose a session on a full disk or a killed process; that is
/// why the file is kept here. Cookies without an expiry end with the process. A file that cannot be read or is not what
/// this class writes is set aside and the jar starts empty. A change that cannot be written stays in memory and goes to
/// disk with the next change or at the end; a removal that empties the jar also works on a full disk.
class SoupCookieJar : public CookieJar {
public:
    explicit SoupCookieJar(std::filesystem::path file);
    ~SoupCookieJar() override;

    std::vector<Cookie> cookiesFor(const Url& url) const override;
    void remove(const Cookie& cookie) override;

    /// For the HTTP session that fills it ("transfer none").
    ::SoupCookieJar* jar() const { return jar_.get(); }

private:
    void load();
    void save();

    std::filesystem::path file_;
    GPtr<::SoupCookieJar> jar_;
    SignalConnection changed_;
    bool unsaved_ = false;
};
