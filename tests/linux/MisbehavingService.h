#pragma once

#include "demo/Certificate.h"
#include "platform/Url.h"
#include "platform/linux/GPtr.h"

#include <gio/gio.h>

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

/// A service on a loopback port that the system picks, whose every byte the test decides: what real servers
/// and the networks before them do on bad days.
///
/// Connections are accepted by the main loop and served by a thread each, so that a behaviour reads from top
/// to bottom. At its end the service closes what is open and waits for those threads.
class MisbehavingService {
public:
    /// One connection, from the server's side.
    class Conversation {
    public:
        Conversation(MisbehavingService& service, GSocketConnection* socket, GIOStream* stream)
            : service_(service), socket_(socket), stream_(stream) {}

        /// The next request, head and body; empty when the client has gone.
        std::string request();
        /// Stops quietly when the client has gone.
        void send(std::string_view bytes);
        /// Closes without a goodbye, so that the client sees a reset.
        void reset();
        /// Lets the connection stand until the client closes it.
        void awaitEnd();
        /// Waits until the test admits one step more, or the service ends.
        void awaitStep();

    private:
        MisbehavingService& service_;
        GSocketConnection* socket_;
        GIOStream* stream_;
        std::string unread_;
    };

    using Behaviour = std::function<void(Conversation&)>;
    enum class Security { tls, none };

    /// Throws std::runtime_error when it cannot listen. `address` is one of this machine's loopback
    /// addresses.
    explicit MisbehavingService(Behaviour behaviour, Security security = Security::tls,
                                const char* address = "127.0.0.1");
    MisbehavingService(const MisbehavingService&) = delete;
    MisbehavingService& operator=(const MisbehavingService&) = delete;
    ~MisbehavingService();

    /// A behaviour that answers one request with these bytes and closes the connection.
    static Behaviour replying(std::string bytes);
    /// A whole HTTP reply, the last of its connection; `headers` are lines that end with CR LF.
    static std::string reply(const std::string& status, const std::string& headers, const std::string& body);

    /// For the connections from now on.
    void behave(Behaviour behaviour);
    /// Lets the conversations take so many steps more, now or later.
    void admit(int steps);
    /// The steps that have been admitted and not taken.
    int stepsAhead() const;

    Url origin() const;
    Url at(std::string_view path) const { return origin().appendingPath(path); }
    const std::string& certificate() const { return certificate_.pem; }
    /// The requests so far, in the order in which they came.
    std::vector<std::string> requests() const;
    int connections() const;

private:
    static gboolean serve(GThreadedSocketService*, GSocketConnection* socket, GObject*, gpointer self);
    void converse(GSocketConnection* socket);

    Security security_;
    std::string address_;
    Demo::Certificate certificate_;
    GPtr<GCancellable> ending_;
    GPtr<GSocketService> listener_;
    guint16 port_ = 0;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    Behaviour behaviour_;
    std::vector<std::string> requests_;
    int connections_ = 0;
    int active_ = 0;
    int steps_ = 0;
    bool ended_ = false;
};
