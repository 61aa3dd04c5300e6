#pragma once

#include "linux/MainLoop.h"

#include <dlfcn.h>
#include <glib.h>

#include <stdexcept>
#include <string>

/// The person in front of the desktop's own prompt, played by the mock prompter of the library that
/// gnome-keyring asks through. It answers in the order in which it has been told to; what it has not been
/// told to expect, it fails.
class Prompter {
public:
    Prompter() : library_(dlopen("libgcr-base-3.so.1", RTLD_NOW)) {
        if (!library_)
            throw std::runtime_error(dlerror());
        name_ = call<const char* (*)()>("gcr_mock_prompter_start")();
    }
    Prompter(const Prompter&) = delete;
    Prompter& operator=(const Prompter&) = delete;
    ~Prompter() { call<void (*)()>("gcr_mock_prompter_stop")(); }

    /// On the bus.
    const std::string& name() const { return name_; }

    void typePassword(const char* password) {
        using Expect = void (*)(const char*, const char*, ...);
        call<Expect>("gcr_mock_prompter_expect_password_ok")(password, nullptr);
    }
    void dismiss() { call<void (*)()>("gcr_mock_prompter_expect_close")(); }
    /// From now on the person answers after so long.
    void setDelay(guint milliseconds) {
        call<void (*)(guint)>("gcr_mock_prompter_set_delay_msec")(milliseconds);
    }
    void waitUntilPrompting() {
        // The prompter has a thread of its own and wakes nobody.
        const auto waking = g_timeout_add(1, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
        MainLoop::runUntil(
            [this] { return call<gboolean (*)()>("gcr_mock_prompter_is_prompting")() != FALSE; });
        g_source_remove(waking);
    }

private:
    template <class Function>
    Function call(const char* name) {
        return reinterpret_cast<Function>(dlsym(library_, name));
    }

    void* library_;
    std::string name_;
};
