#pragma once

#include <glib-object.h>

#include <memory>
#include <utility>

/// Owns one reference to a GObject: takes it over at construction, drops it at destruction, copies by
/// referencing.
///
/// `GPtr<T>::take(p)` adopts a reference that the caller already owns (a "transfer full" result);
/// `GPtr<T>::share(p)` adds one of its own to a borrowed pointer ("transfer none").
template <class T>
class GPtr {
public:
    GPtr() = default;
    GPtr(const GPtr& other) : pointer_(other.pointer_) {
        if (pointer_)
            g_object_ref(pointer_);
    }
    GPtr(GPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
    GPtr& operator=(GPtr other) noexcept {
        std::swap(pointer_, other.pointer_);
        return *this;
    }
    ~GPtr() {
        if (pointer_)
            g_object_unref(pointer_);
    }

    static GPtr take(T* pointer) {
        GPtr result;
        result.pointer_ = pointer;
        return result;
    }
    static GPtr share(T* pointer) {
        if (pointer)
            g_object_ref(pointer);
        return take(pointer);
    }

    T* get() const { return pointer_; }
    T* operator->() const { return pointer_; }
    explicit operator bool() const { return pointer_ != nullptr; }
    /// Hands the reference out ("transfer full").
    T* release() { return std::exchange(pointer_, nullptr); }

private:
    T* pointer_ = nullptr;
};

/// Owners of the C values that are not GObjects, each with its own release function.
struct GFree {
    void operator()(void* p) const { g_free(p); }
};
struct GErrorFree {
    void operator()(GError* e) const { g_error_free(e); }
};
struct GBytesUnref {
    void operator()(GBytes* b) const { g_bytes_unref(b); }
};
struct GUriUnref {
    void operator()(GUri* u) const { g_uri_unref(u); }
};
struct GVariantUnref {
    void operator()(GVariant* v) const { g_variant_unref(v); }
};

using GText = std::unique_ptr<char, GFree>;
using GErrorPtr = std::unique_ptr<GError, GErrorFree>;
using GBytesPtr = std::unique_ptr<GBytes, GBytesUnref>;
using GUriPtr = std::unique_ptr<GUri, GUriUnref>;
using GVariantPtr = std::unique_ptr<GVariant, GVariantUnref>;

/// A signal handler that ends with its owner: disconnects when it is destroyed, unless the object has gone
/// before.
class SignalConnection {
public:
    SignalConnection() = default;
    SignalConnection(gpointer object, gulong handler) : object_(G_OBJECT(object)), handler_(handler) {
        g_object_add_weak_pointer(object_, reinterpret_cast<gpointer*>(&object_));
    }
    SignalConnection(SignalConnection&& other) noexcept { *this = std::move(other); }
    SignalConnection& operator=(SignalConnection&& other) noexcept {
        if (this != &other) {
            disconnect();
            if (other.object_) {
                object_ = other.object_;
                handler_ = other.handler_;
                g_object_add_weak_pointer(object_, reinterpret_cast<gpointer*>(&object_));
                g_object_remove_weak_pointer(other.object_, reinterpret_cast<gpointer*>(&other.object_));
                other.object_ = nullptr;
            }
        }
        return *this;
    }
    ~SignalConnection() { disconnect(); }

    void disconnect() {
        if (!object_)
            return;
        g_signal_handler_disconnect(object_, handler_);
        g_object_remove_weak_pointer(object_, reinterpret_cast<gpointer*>(&object_));
        object_ = nullptr;
    }

private:
    GObject* object_ = nullptr;
    gulong handler_ = 0;
};
