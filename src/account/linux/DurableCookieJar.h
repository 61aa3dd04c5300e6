#pragma once

#include "platform/CookieJar.h"
#include "platform/linux/GPtr.h"

#include <libsoup/soup.h>

#include <filesystem>
#include <optional>
#include <string>

/// The client's cookies: libsoup's jar, which applies RFC 6265, and a file that outlives the process (mode
/// 0600 in a folder of mode 0700), written whole, synced and renamed.
///
/// libsoup's own jar files are rewritten in place, which can lose a session on a full disk or a killed
/// process; that is why the file is kept here. Cookies without an expiry end with the process. A file that
/// cannot be read or is not what this class writes is set aside and the jar starts empty.
///
/// Nothing here fails: what cannot be written stays in memory and is tried again with the next change and at
/// the end. Only a removal goes further, since a session that somebody has ended must not come back: where
/// the shorter list cannot be written, the file goes with all that it holds.
class DurableCookieJar : public CookieJar {
public:
    explicit DurableCookieJar(std::filesystem::path file);
    ~DurableCookieJar() override;
    DurableCookieJar(const DurableCookieJar&) = delete;
    DurableCookieJar& operator=(const DurableCookieJar&) = delete;

    std::vector<Cookie> cookiesFor(const Url& url) const override;
    void replace(const Cookie& cookie) override;
    void remove(const Cookie& cookie) override;

    /// For the HTTP session that fills it ("transfer none"). The session's owner calls `save` once a reply
    /// has set its cookies and before anybody hears of the reply.
    SoupCookieJar* jar() const { return jar_.get(); }
    /// Brings the file up to date when a cookie that belongs there has changed since it was written.
    void save();

private:
    void load();
    std::optional<std::string> content() const;

    std::filesystem::path file_;
    GPtr<SoupCookieJar> jar_;
    SignalConnection changed_;
    std::optional<std::string> written_; ///< what the file holds; none where there is no file
    bool unsaved_ = false;
};
