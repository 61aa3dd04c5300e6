#include "lock/linux/LogindSession.h"

#include "platform/linux/DBus.h"
#include "platform/linux/GAsync.h"

#include <unistd.h>

#include <cstdlib>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr auto login = "org.freedesktop.login1";
constexpr auto managerPath = "/org/freedesktop/login1";
constexpr auto manager = "org.freedesktop.login1.Manager";
constexpr auto session = "org.freedesktop.login1.Session";
constexpr auto properties = "org.freedesktop.DBus.Properties";
/// The session that the caller's process belongs to.
constexpr auto ownSession = "/org/freedesktop/login1/session/auto";

struct ScreenSaver {
    const char* name; ///< of the interface too
    const char* path;
};
constexpr ScreenSaver screenSavers[] = {{"org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver"},
                                        {"org.gnome.ScreenSaver", "/org/gnome/ScreenSaver"},
                                        {"org.cinnamon.ScreenSaver", "/org/cinnamon/ScreenSaver"},
                                        {"org.mate.ScreenSaver", "/org/mate/ScreenSaver"},
                                        {"org.xfce.ScreenSaver", "/org/xfce/ScreenSaver"}};

constexpr std::chrono::seconds patience{5};

/// None where it is anything but one truth value.
std::optional<bool> truth(GVariant* arguments) {
    if (!arguments || !g_variant_is_of_type(arguments, G_VARIANT_TYPE("(b)")))
        return std::nullopt;
    gboolean value = FALSE;
    g_variant_get(arguments, "(b)", &value);
    return value != FALSE;
}

/// Whether a session's properties have changed to a locked one's.
bool saysLocked(GVariant* arguments) {
    if (!arguments || !g_variant_is_of_type(arguments, G_VARIANT_TYPE("(sa{sv}as)")))
        return false;
    const GVariantPtr changed(g_variant_get_child_value(arguments, 1));
    gboolean locked = FALSE;
    return g_variant_lookup(changed.get(), "LockedHint", "b", &locked) && locked;
}

/// A file that is closed with its owner.
class File {
public:
    File() = default;
    explicit File(int descriptor) : descriptor_(descriptor) {}
    File(File&& other) noexcept : descriptor_(std::exchange(other.descriptor_, none)) {}
    File& operator=(File&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~File() {
        if (descriptor_ != none)
            close(descriptor_);
    }
    explicit operator bool() const { return descriptor_ != none; }

private:
    static constexpr int none = -1;
    int descriptor_ = none;
};

/// The inhibitor that the answer holds; none when it holds none.
File inhibitorIn(const DBus::Reply& reply) {
    if (!reply.value || !reply.files || !g_variant_is_of_type(reply.value.get(), G_VARIANT_TYPE("(h)")))
        return {};
    gint32 handle = 0;
    g_variant_get(reply.value.get(), "(h)", &handle);
    return File(g_unix_fd_list_get(reply.files.get(), handle, nullptr));
}

/// Whether the session with these properties is one of this person's. What says nothing of itself may be.
bool isOwn(const DBus::Reply& reply) {
    if (!reply.value || !g_variant_is_of_type(reply.value.get(), G_VARIANT_TYPE("(a{sv})")))
        return true;
    const GVariantPtr known(g_variant_get_child_value(reply.value.get(), 0));
    guint32 user = 0;
    const char* id = nullptr;
    const char* path = nullptr;
    const auto* own = std::getenv("XDG_SESSION_ID");
    if (own && g_variant_lookup(known.get(), "Id", "&s", &id) && std::string(id) == own)
        return true;
    return !g_variant_lookup(known.get(), "User", "(u&o)", &user, &path) || user == getuid();
}

} // namespace

/// What listens. It outlives the session by the calls that are under way, which then do nothing.
class LogindSession::Link : public std::enable_shared_from_this<Link> {
public:
    explicit Link(LogindSession& owner) : owner_(&owner) {}

    static Task<> listenToDesktop(std::shared_ptr<Link> self) {
        GAsync connecting;
        g_bus_get(G_BUS_TYPE_SESSION, nullptr, GAsync::ready, &connecting);
        const auto result = co_await connecting;
        const auto bus = GPtr<GDBusConnection>::take(g_bus_get_finish(result.get(), nullptr));
        if (!bus || !self->owner_)
            co_return;
        for (const auto& saver : screenSavers) {
            self->listen(bus, {nullptr, nullptr, saver.name, "ActiveChanged"},
                         [](Link& link, const char*, GVariant* arguments) { link.hear(truth(arguments)); });
            spawn(ask(self, bus, saver));
        }
    }

    static Task<> listenToLogin(std::shared_ptr<Link> self, SystemBus* system) {
        self->bus_ = co_await system->connection();
        if (!self->bus_ || !self->owner_)
            co_return;
        self->listen(self->bus_, {login, nullptr, session, "Lock"},
                     [](Link& link, const char* path, GVariant*) { link.lockIfOwn(path); });
        self->listen(self->bus_, {login, nullptr, properties, "PropertiesChanged"},
                     [](Link& link, const char* path, GVariant* arguments) {
                         if (saysLocked(arguments))
                             link.lockIfOwn(path);
                     });
        self->listen(self->bus_, {login, managerPath, manager, "PrepareForSleep"},
                     [](Link& link, const char*, GVariant* arguments) {
                         if (truth(arguments).value_or(false))
                             link.sleep();
                         else
                             link.wake();
                     });
        const auto appeared = +[](GDBusConnection*, const char*, const char*, gpointer link) {
            static_cast<Link*>(link)->wake();
        };
        const auto vanished = +[](GDBusConnection*, const char*, gpointer link) {
            static_cast<Link*>(link)->inhibitor_ = File();
        };
        self->watch_ = g_bus_watch_name_on_connection(self->bus_.get(), login, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                                      appeared, vanished, self.get(), nullptr);
        spawn(askLogin(self));
    }

    bool isLocked() const { return locked_; }

    /// Nothing is told to the owner from now on.
    void end() {
        owner_ = nullptr;
        signals_.clear();
        if (watch_ != 0)
            g_bus_unwatch_name(std::exchange(watch_, 0));
        inhibitor_ = File();
    }

private:
    void listen(const GPtr<GDBusConnection>& bus, const DBus::Signal::Match& match,
                void (*heard)(Link&, const char*, GVariant*)) {
        signals_.push_back(std::make_unique<DBus::Signal>(
            bus, match, [weak = weak_from_this(), heard](const char* path, GVariant* arguments) {
                if (const auto self = weak.lock(); self && self->owner_)
                    heard(*self, path, arguments);
            }));
    }

    /// A word about the lock of the session: of what happens, or of how things stand.
    void hear(std::optional<bool> active) {
        locked_ = active.value_or(locked_);
        if (active.value_or(false))
            lock();
    }
    static Task<> ask(std::shared_ptr<Link> self, GPtr<GDBusConnection> bus, ScreenSaver saver) {
        const DBus::Method getActive{saver.name, saver.path, saver.name, "GetActive",
                                     G_DBUS_CALL_FLAGS_NO_AUTO_START};
        const auto reply = co_await DBus::call(std::move(bus), getActive, {}, patience);
        // Only one that is active has anything to say here.
        if (truth(reply.value.get()).value_or(false))
            self->hear(true);
    }
    static Task<> askLogin(std::shared_ptr<Link> self) {
        const DBus::Method get{login, ownSession, properties, "Get", G_DBUS_CALL_FLAGS_NO_AUTO_START};
        const auto reply = co_await DBus::call(
            self->bus_, get, DBus::own(g_variant_new("(ss)", session, "LockedHint")), patience);
        if (!reply.value || !g_variant_is_of_type(reply.value.get(), G_VARIANT_TYPE("(v)")))
            co_return;
        const GVariantPtr boxed(g_variant_get_child_value(reply.value.get(), 0));
        const GVariantPtr hint(g_variant_get_variant(boxed.get()));
        if (g_variant_is_of_type(hint.get(), G_VARIANT_TYPE_BOOLEAN) && g_variant_get_boolean(hint.get()))
            self->hear(true);
    }

    void lock() {
        if (owner_ && owner_->onLocked)
            owner_->onLocked();
    }

    void lockIfOwn(const std::string& path) {
        // A storm of signals asks one question at a time; its answer speaks for all of them.
        if (asking_.insert(path).second)
            spawn(findOwner(shared_from_this(), path));
    }
    static Task<> findOwner(std::shared_ptr<Link> self, std::string path) {
        const DBus::Method getAll{login, path.c_str(), properties, "GetAll"};
        const auto reply =
            co_await DBus::call(self->bus_, getAll, DBus::own(g_variant_new("(s)", session)), patience);
        self->asking_.erase(path);
        if (isOwn(reply))
            self->lock();
    }

    void sleep() {
        if (asleep_)
            return;
        asleep_ = true;
        if (!owner_->onSleep) {
            inhibitor_ = File();
            return;
        }
        sleeps_ += 1;
        owner_->onSleep([weak = weak_from_this(), sleep = sleeps_] {
            const auto self = weak.lock();
            // A late word about an earlier sleep does not let go of the inhibitor for the next one.
            if (self && self->asleep_ && self->sleeps_ == sleep)
                self->inhibitor_ = File();
        });
    }

    void wake() {
        asleep_ = false;
        if (!inhibitor_ && !inhibiting_)
            spawn(inhibit(shared_from_this()));
    }
    static Task<> inhibit(std::shared_ptr<Link> self) {
        self->inhibiting_ = true;
        const DBus::Method inhibit{login, managerPath, manager, "Inhibit"};
        auto arguments = DBus::own(g_variant_new("(ssss)", "sleep", "brisko",
                                                 "The window locks before the machine sleeps", "delay"));
        const auto reply = co_await DBus::call(self->bus_, inhibit, std::move(arguments), patience);
        self->inhibiting_ = false;
        if (self->owner_ && !self->asleep_)
            self->inhibitor_ = inhibitorIn(reply);
    }

    LogindSession* owner_; ///< null once it has ended
    GPtr<GDBusConnection> bus_;
    std::vector<std::unique_ptr<DBus::Signal>> signals_;
    guint watch_ = 0;
    File inhibitor_;
    bool inhibiting_ = false;
    bool locked_ = false; ///< as the last word about it was
    bool asleep_ = false; ///< or about to be
    unsigned sleeps_ = 0;
    std::set<std::string> asking_; ///< the sessions whose owner is being looked up
};

LogindSession::LogindSession(SystemBus& bus) : bus_(bus) {}

LogindSession::~LogindSession() {
    if (link_)
        link_->end();
}

bool LogindSession::isLocked() const {
    return link_ && link_->isLocked();
}

void LogindSession::start() {
    link_ = std::make_shared<Link>(*this);
    spawn(Link::listenToDesktop(link_));
    spawn(Link::listenToLogin(link_, &bus_));
}
