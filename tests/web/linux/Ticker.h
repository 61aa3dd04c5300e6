#pragma once

#include <glib.h>

/// Keeps the main loop turning while a test waits for what no event tells: a file, the end of another
/// process.
class Ticker {
public:
    Ticker() : source_(g_timeout_add(10, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr)) {}
    Ticker(const Ticker&) = delete;
    Ticker& operator=(const Ticker&) = delete;
    ~Ticker() { g_source_remove(source_); }

private:
    guint source_;
};
