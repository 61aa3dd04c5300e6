#pragma once

#include "platform/WebAuthentication.h"
#include "platform/Workspace.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

/// The small panel over the window while a sign-in goes on in the browser.
class AuthenticationPanel {
public:
    virtual ~AuthenticationPanel() = default;

    /// Shows the panel; `onCancel` is called once when the person gives up, whatever way they take.
    virtual void show(std::function<void()> onCancel) = 0;
    /// Takes the panel away without calling anything. Nothing happens when there is none.
    virtual void hide() = 0;
};

/// Web authentication through the default browser: the answer comes back as an opened URL of the callback
/// scheme.
///
/// Where the platform offers no sheet that would show the provider's page, the page belongs in the browser,
/// which is also the only place where providers accept a sign-in. While it waits, a panel lets the person
/// give up.
class BrowserAuthentication : public WebAuthentication {
public:
    /// `opensPage` tells the URLs of the callback scheme that open a page of the program; they are never the
    /// answer.
    BrowserAuthentication(Workspace& workspace, AuthenticationPanel& panel,
                          std::function<bool(const std::string& url)> opensPage);

    Task<std::optional<std::string>> authenticate(Url start, std::string callbackScheme) override;

    /// Offers an opened URL. True when it was the awaited answer, and so is nobody else's; an answer that
    /// comes late or a second time is not awaited.
    bool take(const std::string& url);

private:
    using Answer = Completion<std::optional<std::string>>;

    Workspace& workspace_;
    AuthenticationPanel& panel_;
    std::function<bool(const std::string&)> opensPage_;
    std::shared_ptr<Answer> waiting_;
    std::string scheme_;
};
