#include "platform/linux/LauncherEntry.h"

#include "platform/linux/SessionBus.h"

namespace {

/// One value of the entry, and whether it is shown. What an update does not name stays as it is.
void update(const std::string& path, const std::string& uri, const std::string& name, GVariant* value,
            bool visible) {
    GVariantBuilder properties;
    g_variant_builder_init(&properties, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&properties, "{sv}", name.c_str(), value);
    g_variant_builder_add(&properties, "{sv}", (name + "-visible").c_str(), g_variant_new_boolean(visible));
    SessionBus::broadcast(path.c_str(), "com.canonical.Unity.LauncherEntry", "Update",
                          g_variant_new("(sa{sv})", uri.c_str(), &properties));
}

} // namespace

LauncherEntry::LauncherEntry(const std::string& desktopFile)
    : uri_("application://" + desktopFile),
      path_("/com/canonical/unity/launcherentry/" + std::to_string(g_str_hash(uri_.c_str()))) {}

LauncherEntry::~LauncherEntry() {
    if (count_ == 0 && !fraction_)
        return;
    setBadge(0);
    setProgress(std::nullopt);
    SessionBus::flush();
}

void LauncherEntry::setBadge(int count) {
    if (count == count_)
        return;
    count_ = count;
    update(path_, uri_, "count", g_variant_new_int64(count), count != 0);
}

void LauncherEntry::setProgress(std::optional<double> fraction) {
    if (fraction == fraction_)
        return;
    fraction_ = fraction;
    update(path_, uri_, "progress", g_variant_new_double(fraction.value_or(0)), fraction.has_value());
}
