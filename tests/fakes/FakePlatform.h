#pragma once

#include "fakes/Gate.h"
#include "platform/AboutPanel.h"
#include "platform/CookieJar.h"
#include "platform/Error.h"
#include "platform/HttpClient.h"
#include "platform/UserDefaults.h"
#include "platform/WebAuthentication.h"
#include "platform/WebDataStore.h"
#include "platform/WebView.h"
#include "platform/Window.h"
#include "platform/Workspace.h"

#include <deque>
#include <map>

/// Who wants to be told of something, for as long as they keep what they have been given.
class Observers {
public:
    std::shared_ptr<void> add(std::function<void()> told) {
        auto observer = std::make_shared<std::function<void()>>(std::move(told));
        observers_.push_back(observer);
        return observer;
    }
    void tell() {
        for (const auto& observer : std::vector(observers_))
            if (const auto told = observer.lock())
                (*told)();
    }

private:
    std::vector<std::weak_ptr<std::function<void()>>> observers_;
};

/// Takes those away that stand for the same as `cookie`, whatever their value.
inline void removeCookie(std::vector<Cookie>& cookies, const Cookie& cookie) {
    const auto key = [](const Cookie& each) { return std::tie(each.name, each.domain, each.path); };
    std::erase_if(cookies, [&](const Cookie& kept) { return key(kept) == key(cookie); });
}

/// Cookies in memory, matched against a URL as RFC 6265 says.
class FakeCookieJar : public CookieJar {
public:
    std::vector<Cookie> cookies;

    std::vector<Cookie> cookiesFor(const Url& url) const override {
        std::multimap<std::size_t, Cookie, std::greater<>> byPath;
        for (const auto& cookie : cookies)
            if (applies(cookie, url))
                byPath.emplace(cookie.path.size(), cookie);
        std::vector<Cookie> result;
        for (const auto& [length, cookie] : byPath)
            result.push_back(cookie);
        return result;
    }
    void remove(const Cookie& cookie) override { removeCookie(cookies, cookie); }

private:
    static bool applies(const Cookie& cookie, const Url& url) {
        if (cookie.secure && url.scheme() != "https")
            return false;
        const auto host = url.host().value_or("");
        const auto subdomains = cookie.domain.starts_with('.');
        const auto name = subdomains ? cookie.domain.substr(1) : cookie.domain;
        const auto path = url.path().empty() ? "/" : url.path();
        const auto below = path.starts_with(cookie.path) &&
                           (cookie.path.ends_with('/') || path.size() == cookie.path.size() ||
                            path[cookie.path.size()] == '/');
        return below && (host == name || (subdomains && host.ends_with("." + name)));
    }
};

/// A client whose requests wait until the test answers them, oldest first unless it says otherwise. A stopped
/// request fails at once, unless its reply is `underWay`, on its way through the main loop.
class FakeHttpClient : public HttpClient {
public:
    struct Pending {
        explicit Pending(HttpRequest sentRequest) : request(std::move(sentRequest)) {}

        HttpRequest request;
        Completion<HttpReply> reply;
    };

    std::deque<std::shared_ptr<Pending>> pending;
    std::vector<HttpRequest> sent; ///< every request since the start
    bool underWay = false;

    Task<HttpReply> send(HttpRequest request, std::stop_token stop) override {
        const auto entry = std::make_shared<Pending>(request);
        sent.push_back(request);
        pending.push_back(entry);
        const auto cancel = [this, entry] {
            if (underWay)
                return;
            std::erase(pending, entry);
            entry->reply.fail(std::make_exception_ptr(
                TransportError(TransportError::Reason::cancelled, "Operation was cancelled")));
        };
        const std::stop_callback stopping(stop, cancel);
        co_return co_await entry->reply;
    }

    std::shared_ptr<Pending> take(std::size_t index = 0) {
        auto entry = pending.at(index);
        pending.erase(pending.begin() + static_cast<std::ptrdiff_t>(index));
        return entry;
    }
    void answer(std::optional<int> status, std::string body = {}, std::size_t index = 0) {
        take(index)->reply.resolve(HttpReply{status, std::move(body)});
    }
    template <class Failure>
    void fail(Failure failure, std::size_t index = 0) {
        take(index)->reply.fail(std::make_exception_ptr(std::move(failure)));
    }
};

/// The web view's store in memory.
class FakeWebDataStore : public WebDataStore, public Gate {
public:
    std::vector<Cookie> cookies;
    std::vector<std::string> log; ///< of what has been set
    int started = 0;

    std::shared_ptr<void> observeCookies(std::function<void()> told) override { return observers_.add(told); }
    /// Says that cookies have changed: a real store does so once for each.
    void changed() { observers_.tell(); }

    Task<std::vector<Cookie>> allCookies() override {
        co_await begin();
        co_return cookies;
    }
    Task<> setCookie(Cookie cookie) override {
        co_await begin();
        removeCookie(cookies, cookie);
        cookies.push_back(cookie);
        log.push_back("set " + cookie.name);
        changed();
    }
    Task<> removeAllData() override {
        co_await begin();
        if (!std::exchange(cookies, {}).empty())
            changed();
    }

private:
    Task<> begin() {
        started += 1;
        return pass();
    }

    Observers observers_;
};

class FakeWebAuthentication : public WebAuthentication {
public:
    std::vector<std::string> started; ///< "scheme start-URL"
    Completion<std::optional<std::string>> answer;

    Task<std::optional<std::string>> authenticate(Url start, std::string callbackScheme) override {
        started.push_back(callbackScheme + " " + start.text());
        co_return co_await answer;
    }
};

class FakeUserDefaults : public UserDefaults {
public:
    std::map<std::string, Json> values;
    bool broken = false;                ///< nothing can be written
    bool unreadable = false;            ///< nothing can be read
    std::function<void()> aroundChange; ///< called before and after each; may end the program there

    Json value(const std::string& key) const override {
        const auto found = values.find(key);
        return unreadable || found == values.end() ? Json() : found->second;
    }
    bool available() const override { return !unreadable; }
    void set(const std::string& key, Json value) override { update({{key, std::move(value)}}); }
    void remove(const std::string& key) override { update({{key, Json()}}); }
    void update(const std::map<std::string, Json>& changes) override {
        if (broken)
            throw Error("No space left on device");
        if (aroundChange)
            aroundChange();
        for (const auto& [key, value] : changes) {
            values[key] = value;
            if (value.is_null())
                values.erase(key);
        }
        if (aroundChange)
            aroundChange();
    }
};

class FakeWorkspace : public Workspace {
public:
    std::vector<std::string> opened;
    std::optional<Error> failure; ///< the desktop has no program to open anything with

    using Workspace::open;
    void open(const Url& url, std::function<void(const Error&)> onFailure) override {
        opened.push_back(url.text());
        if (failure && onFailure)
            onFailure(*failure);
    }
};

class FakeAboutPanel : public AboutPanel {
public:
    std::vector<std::string> shown; ///< "version, date, credits, link"

    void show(const Info& info) override {
        shown.push_back(info.applicationVersion.value_or("none") + ", " + info.version.value_or("none") +
                        ", " + info.credits + ", " + info.link.text());
    }
};

class FakeWindow : public Window {
public:
    Frame size = Frame{1180, 800};
    Screen* content = nullptr;
    Screen* sheet = nullptr;
    Screen* overlay = nullptr;
    bool covered = false;
    std::vector<std::function<void()>> drawing; ///< who waits for the next frame
    Appearance appearance = Appearance::light;
    Color background;
    int presented = 0;

    Frame frame() const override { return size; }
    void setFrame(Frame frame) override { size = frame; }
    /// A toolkit may fit the window to what it is given, as this one does.
    void setContent(Screen& screen) override {
        content = &screen;
        size = Frame{420, 520};
    }
    void presentSheet(Screen& screen) override { sheet = &screen; }
    void dismissSheet() override { sheet = nullptr; }
    void showOverlay(Screen& screen) override { overlay = &screen; }
    void removeOverlay() override { overlay = nullptr; }
    void cover() override { covered = true; }
    void uncover() override { covered = false; }
    bool isCovered() const override { return covered; }
    void whenDrawn(std::function<void()> drawn) override { drawing.push_back(std::move(drawn)); }
    void setAppearance(Appearance given) override { appearance = given; }
    void setBackground(Color color) override { background = color; }
    void present() override { presented += 1; }
};

class FakeWebView : public WebView {
public:
    std::vector<std::string> loaded;
    std::vector<std::string> evaluated;
    bool waitingForAnswer = false;
    std::map<std::string, std::function<void(const Json&)>> handlers;
    std::map<std::string, std::function<Task<Json>(Json)>> replyingHandlers;
    std::string alternate; ///< the page shown in place of one that failed
    std::string alternateFor;
    std::string alternateBase;
    double zoom = 1;
    Color underPage;

    void addUserScript(const UserScript&) override {}
    void addMessageHandler(const std::string& name, std::function<void(const Json&)> handler) override {
        handlers[name] = std::move(handler);
    }
    void addReplyingMessageHandler(const std::string& name,
                                   std::function<Task<Json>(Json)> handler) override {
        replyingHandlers[name] = std::move(handler);
    }
    void load(const Url& url, std::chrono::seconds) override { loaded.push_back(url.text()); }
    void reload() override { loaded.emplace_back("again"); }
    void loadAlternate(const std::string& html, const std::string& failedUrl, const Url& base) override {
        alternate = html;
        alternateFor = failedUrl;
        alternateBase = base.text();
    }
    void evaluate(const std::string& script) override { evaluated.push_back(script); }
    bool isWaitingForAnswer() const override { return waitingForAnswer; }
    void setUnderPageBackground(Color color) override { underPage = color; }
    double pageZoom() const override { return zoom; }
    void setPageZoom(double value) override { zoom = value; }
};
