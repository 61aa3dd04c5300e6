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

#include <algorithm>
#include <map>

/// Who came last to be told of something, for as long as they keep what they have been given.
struct Observer {
    std::vector<std::weak_ptr<std::function<void()>>> told;

    std::shared_ptr<void> set(std::function<void()> observer) {
        auto kept = std::make_shared<std::function<void()>>(std::move(observer));
        told.push_back(kept);
        return kept;
    }
    void tell() const {
        for (const auto& each : std::vector(told))
            if (const auto kept = each.lock())
                (*kept)();
    }
};

/// Takes those away that stand for the same as `cookie`, whatever their value.
inline void removeCookie(std::vector<Cookie>& cookies, const Cookie& cookie) {
    std::erase_if(cookies, [&](const Cookie& kept) { return kept.isSameAs(cookie); });
}

/// Cookies in memory, matched against a URL as RFC 6265 says.
class FakeCookieJar : public CookieJar {
public:
    std::vector<Cookie> cookies;

    std::vector<Cookie> cookiesFor(const Url& url) const override {
        const auto length = [](const Cookie& each) { return each.path.size(); };
        std::vector<Cookie> result;
        for (const auto& each : cookies)
            if (applies(each, url))
                result.insert(std::ranges::upper_bound(result, length(each), std::greater(), length), each);
        return result;
    }
    void replace(const Cookie& cookie) override {
        for (auto& kept : cookies)
            kept = kept.isSameAs(cookie) ? cookie : kept;
    }
    void remove(const Cookie& cookie) override { removeCookie(cookies, cookie); }

private:
    static bool applies(const Cookie& cookie, const Url& url) {
        const auto domain = (cookie.domain.starts_with('.') ? "." : "") + url.host().value_or("");
        const auto path = url.path() + "/", below = cookie.path + (cookie.path.ends_with('/') ? "" : "/");
        return (domain.starts_with('.') ? domain.ends_with(cookie.domain) : domain == cookie.domain) &&
               path.starts_with(below) && (!cookie.secure || url.scheme() == "https");
    }
};

/// A client whose requests wait until the test answers them, oldest first unless it says otherwise. A stopped
/// request fails at once, unless its reply is `underWay`, on its way through the main loop.
struct FakeHttpClient : HttpClient {
    struct Pending {
        HttpRequest request;
        Completion<HttpReply> reply;
    };

    std::vector<std::shared_ptr<Pending>> pending;
    bool underWay = false;

    Task<HttpReply> send(HttpRequest request, std::stop_token stop) override {
        const auto entry = pending.emplace_back(std::make_shared<Pending>(std::move(request)));
        const auto cancel = [this, entry] {
            if (!underWay && std::erase(pending, entry))
                entry->reply.fail(
                    std::make_exception_ptr(TransportError(TransportError::Reason::cancelled, "Cancelled")));
        };
        const std::stop_callback stopping(stop, cancel);
        co_return co_await entry->reply;
    }

    void answer(std::optional<int> status, std::string body, std::size_t index = 0) {
        const auto entry = pending.at(index);
        std::erase(pending, entry);
        entry->reply.resolve(HttpReply{status, std::move(body)});
    }
    void fail(const TransportError& failure) {
        const auto entry = pending.at(0);
        std::erase(pending, entry);
        entry->reply.fail(std::make_exception_ptr(failure));
    }
};

/// The web view's store in memory.
struct FakeWebDataStore : WebDataStore, Gate, Observer {
    std::vector<Cookie> cookies;

    std::shared_ptr<void> observeCookies(std::function<void()> told) override { return set(told); }
    /// Says that cookies have changed: a real store does so once for each.
    void changed() { tell(); }

    Task<std::vector<Cookie>> allCookies() override {
        co_await pass();
        co_return cookies;
    }
    Task<> setCookie(Cookie cookie) override {
        co_await pass();
        removeCookie(cookies, cookie);
        cookies.push_back(cookie);
        changed();
    }
    Task<> removeAllData() override {
        co_await pass();
        if (!std::exchange(cookies, {}).empty())
            changed();
    }
};

struct FakeWebAuthentication : WebAuthentication {
    std::vector<std::string> started; ///< "scheme start-URL"
    Completion<std::optional<std::string>> answer;

    Task<std::optional<std::string>> authenticate(Url start, std::string callbackScheme) override {
        started.push_back(callbackScheme + " " + start.text());
        co_return co_await answer;
    }
};

struct FakeUserDefaults : UserDefaults {
    std::map<std::string, Json> values;
    bool broken = false;                        ///< nothing can be written
    bool unreadable = false;                    ///< nothing can be read
    std::function<void()> aroundChange = [] {}; ///< called before and after each; may end the program there

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
        aroundChange();
        for (const auto& [key, value] : changes) {
            values[key] = value;
            if (value.is_null())
                values.erase(key);
        }
        aroundChange();
    }
};

struct FakeWorkspace : Workspace {
    std::vector<std::string> opened;
    std::function<void(const Error&)> fail; ///< says that what was opened last has no program

    using Workspace::open;
    void open(const Url& url, std::function<void(const Error&)> onFailure) override {
        opened.push_back(url.text());
        fail = std::move(onFailure);
    }
};

struct FakeAboutPanel : AboutPanel {
    std::vector<std::string> shown; ///< "version, date, credits, link"

    void show(const Info& info) override {
        shown.push_back(info.applicationVersion.value_or("none") + ", " + info.version.value_or("none") +
                        ", " + info.credits + ", " + info.link.text());
    }
};

struct FakeWindow : Window {
    Frame size = Frame{1180, 800};
    Screen *content = nullptr, *sheet = nullptr, *overlay = nullptr;
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
    bool hasOverlay() const override { return overlay != nullptr; }
    void removeOverlay() override { overlay = nullptr; }
    void cover() override { covered = true; }
    void uncover() override { covered = false; }
    bool isCovered() const override { return covered; }
    void whenDrawn(std::function<void()> drawn) override { drawing.push_back(std::move(drawn)); }
    void setAppearance(Appearance given) override { appearance = given; }
    void setBackground(Color color) override { background = color; }
    void present() override { presented += 1; }
};

struct FakeWebView : WebView {
    std::vector<std::string> loaded, evaluated;
    bool waitingForAnswer = false;
    std::map<std::string, std::function<void(const Json&)>> handlers;
    std::map<std::string, std::function<Task<Json>(Json)>> replyingHandlers;
    std::string source;                                 ///< of the last script
    std::string alternate, alternateFor, alternateBase; ///< the page shown in place of one that failed
    double zoom = 1;
    Color underPage;

    void addUserScript(const UserScript& script) override { source = script.source; }
    /// What a script posts to a handler: it has the token at its end.
    Json message(Json body) const {
        const auto end = source.rfind('"'), start = source.rfind('"', end - 1) + 1;
        return {{"token", source.substr(start, end - start)}, {"body", std::move(body)}};
    }
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
