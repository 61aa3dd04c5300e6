#include "lock/linux/SecretServiceKeychain.h"

#include "lock/linux/SecretServiceSession.h"
#include "platform/Counted.h"
#include "platform/linux/GAsync.h"

#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace {

using Session = SecretServiceSession;
using Items = std::vector<GPtr<SecretItem>>;

constexpr auto account = "passcode";
constexpr auto label = "brisko passcode";
constexpr auto contentType = "text/plain";

struct SchemaUnref {
    void operator()(SecretSchema* schema) const { secret_schema_unref(schema); }
};

/// The general one, so that the item is found by its attributes alone, whichever program has stored it.
const SecretSchema* schema() {
    static const std::unique_ptr<SecretSchema, SchemaUnref> general(secret_schema_new(
        "org.freedesktop.Secret.Generic", SECRET_SCHEMA_DONT_MATCH_NAME, "service",
        SECRET_SCHEMA_ATTRIBUTE_STRING, "account", SECRET_SCHEMA_ATTRIBUTE_STRING, nullptr));
    return general.get();
}

struct HashTableUnref {
    void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
using Attributes = std::unique_ptr<GHashTable, HashTableUnref>;

Attributes attributesOf(const std::string& service) {
    return Attributes(
        secret_attributes_build(schema(), "service", service.c_str(), "account", account, nullptr));
}

struct SecretValueUnref {
    void operator()(SecretValue* value) const { secret_value_unref(value); }
};
using Value = std::unique_ptr<SecretValue, SecretValueUnref>;

/// Throws Unavailable when there is an error; takes it over.
void check(const Session& session, GError* error) {
    if (error)
        throw Keychain::Unavailable(session.textOf(*GErrorPtr(error)));
}

/// Whether the service has said no, rather than that there was none to say anything.
bool isRefusal(const GError& error) {
    if (error.domain == SECRET_ERROR)
        return error.code != SECRET_ERROR_IS_LOCKED;
    // An error name of the service that has no number here.
    if (g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_DBUS_ERROR))
        return true;
    // These come from the bus.
    const auto gone = {G_DBUS_ERROR_SERVICE_UNKNOWN, G_DBUS_ERROR_NAME_HAS_NO_OWNER,
                       G_DBUS_ERROR_NO_REPLY,        G_DBUS_ERROR_TIMEOUT,
                       G_DBUS_ERROR_TIMED_OUT,       G_DBUS_ERROR_DISCONNECTED};
    return error.domain == G_DBUS_ERROR &&
           std::none_of(gone.begin(), gone.end(), [&](int code) { return error.code == code; });
}

/// Throws Refused or Unavailable when there is an error; takes it over.
void checkStored(const Session& session, GError* error) {
    const GErrorPtr owner(error);
    if (!error)
        return;
    auto text = session.textOf(*error);
    if (isRefusal(*error))
        throw Keychain::Refused(std::move(text), error->code);
    if (g_error_matches(error, SECRET_ERROR, SECRET_ERROR_IS_LOCKED))
        text = Session::itIsLocked;
    throw Keychain::Unavailable(text);
}

/// All items with the attributes, the one to use first: an open one before a locked one, then the latest.
/// Opens nothing.
Task<Items> find(Session* session, GHashTable* attributes) {
    GAsync searching;
    secret_service_search(session->service(), schema(), attributes, SECRET_SEARCH_ALL, session->cancellable(),
                          GAsync::ready, &searching);
    const auto result = co_await searching;
    GError* error = nullptr;
    auto* list = secret_service_search_finish(session->service(), result.get(), &error);
    check(*session, error);
    // Open ones first, the latest of them before the others.
    const auto rank = [](SecretItem* item) {
        return std::pair(!secret_item_get_locked(item), secret_item_get_modified(item));
    };
    std::multimap<std::pair<bool, guint64>, GPtr<SecretItem>, std::greater<>> ranked;
    for (auto* link = list; link; link = link->next)
        ranked.emplace(rank(SECRET_ITEM(link->data)), GPtr<SecretItem>::take(SECRET_ITEM(link->data)));
    g_list_free(list);
    Items items;
    for (auto& [key, item] : ranked)
        items.push_back(std::move(item));
    co_return items;
}

/// Has the desktop ask the person to open what the item or collection is in. Throws Unavailable when it stays
/// locked.
Task<> unlock(Session* session, GPtr<GDBusProxy> object) {
    GList objects = {object.get(), nullptr, nullptr};
    GAsync unlocking;
    secret_service_unlock(session->service(), &objects, session->cancellable(), GAsync::ready, &unlocking);
    const auto result = co_await unlocking;
    GError* error = nullptr;
    const auto count = secret_service_unlock_finish(session->service(), result.get(), nullptr, &error);
    check(*session, error);
    if (count < 1)
        throw Keychain::Unavailable(Session::itIsLocked);
}

/// None where the person has no keyring yet.
Task<GPtr<SecretCollection>> defaultCollection(Session* session) {
    GAsync asking;
    secret_collection_for_alias(session->service(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE,
                                session->cancellable(), GAsync::ready, &asking);
    const auto result = co_await asking;
    GError* error = nullptr;
    auto collection = GPtr<SecretCollection>::take(secret_collection_for_alias_finish(result.get(), &error));
    check(*session, error);
    co_return collection;
}

/// The item, opened; none when there is none.
Task<GPtr<SecretItem>> locate(Session* session, GHashTable* attributes) {
    auto items = co_await find(session, attributes);
    if (items.empty()) {
        // Some services show nothing of a locked keyring, so "none" counts only once it is open.
        const auto collection = co_await defaultCollection(session);
        if (!collection || !secret_collection_get_locked(collection.get()))
            co_return GPtr<SecretItem>();
        co_await unlock(session, GPtr<GDBusProxy>::share(G_DBUS_PROXY(collection.get())));
        items = co_await find(session, attributes);
        if (items.empty())
            co_return GPtr<SecretItem>();
    }
    auto item = items.front();
    if (secret_item_get_locked(item.get())) {
        co_await unlock(session, GPtr<GDBusProxy>::share(G_DBUS_PROXY(item.get())));
    }
    co_return item;
}

Task<> replace(Session* session, GPtr<SecretItem> item, SecretValue* value) {
    GAsync replacing;
    secret_item_set_secret(item.get(), value, session->cancellable(), GAsync::ready, &replacing);
    const auto result = co_await replacing;
    GError* error = nullptr;
    secret_item_set_secret_finish(item.get(), result.get(), &error);
    checkStored(*session, error);
}

Task<> add(Session* session, GHashTable* attributes, SecretValue* value) {
    GAsync storing;
    secret_service_store(session->service(), schema(), attributes, SECRET_COLLECTION_DEFAULT, label, value,
                         session->cancellable(), GAsync::ready, &storing);
    const auto result = co_await storing;
    GError* error = nullptr;
    secret_service_store_finish(session->service(), result.get(), &error);
    checkStored(*session, error);
}

Task<> removeItem(Session* session, GPtr<SecretItem> item) {
    GAsync removing;
    secret_item_delete(item.get(), session->cancellable(), GAsync::ready, &removing);
    const auto result = co_await removing;
    GError* error = nullptr;
    secret_item_delete_finish(item.get(), result.get(), &error);
    check(*session, error);
}

} // namespace

SecretServiceKeychain::SecretServiceKeychain(std::string service, std::chrono::milliseconds patience)
    : service_(std::move(service)), patience_(patience) {}

SecretServiceKeychain::~SecretServiceKeychain() {
    cancelAll();
}

void SecretServiceKeychain::cancelAll() {
    ending_.request_stop();
    while (open_ > 0)
        g_main_context_iteration(nullptr, TRUE);
}

Task<std::optional<SecretText>> SecretServiceKeychain::read() {
    const Counted counted(open_);
    const auto attributes = attributesOf(service_);
    Session session(patience_, ending_.get_token());
    co_await session.open(SECRET_SERVICE_OPEN_SESSION);
    const auto item = co_await locate(&session, attributes.get());
    std::optional<SecretText> data;
    if (!item)
        co_return data;
    GAsync loading;
    secret_item_load_secret(item.get(), session.cancellable(), GAsync::ready, &loading);
    const auto result = co_await loading;
    GError* error = nullptr;
    secret_item_load_secret_finish(item.get(), result.get(), &error);
    check(session, error);
    const Value value(secret_item_get_secret(item.get()));
    if (!value)
        throw Unavailable(Session::itIsLocked);
    gsize length = 0;
    const auto* text = secret_value_get(value.get(), &length);
    data.emplace(std::string_view(text, length));
    co_return data;
}

Task<> SecretServiceKeychain::write(SecretText data) {
    const Counted counted(open_);
    const auto attributes = attributesOf(service_);
    Session session(patience_, ending_.get_token());
    co_await session.open(SECRET_SERVICE_OPEN_SESSION);
    const auto item = co_await locate(&session, attributes.get());
    const auto content = data.view();
    const Value value(secret_value_new(content.data(), static_cast<gssize>(content.size()), contentType));
    if (item)
        co_await replace(&session, item, value.get());
    else
        co_await add(&session, attributes.get(), value.get());
}

Task<> SecretServiceKeychain::remove() {
    const Counted counted(open_);
    const auto attributes = attributesOf(service_);
    Session session(patience_, ending_.get_token());
    co_await session.open(SECRET_SERVICE_NONE);
    const auto items = co_await find(&session, attributes.get());
    bool isLocked = false;
    for (const auto& item : items) {
        if (secret_item_get_locked(item.get())) {
            isLocked = true;
            continue;
        }
        co_await removeItem(&session, item);
    }
    if (isLocked)
        throw Unavailable(Session::itIsLocked);
}
