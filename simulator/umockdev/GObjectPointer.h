#pragma once

#include <glib-object.h>

#include <memory>

namespace sim {

struct GObjectUnref
{
    void operator()(gpointer object) const { g_object_unref(object); }
};

/// Owns one reference to a GLib object.
template <typename T>
using GObjectPointer = std::unique_ptr<T, GObjectUnref>;

/// Another reference to an object that somebody else owns.
template <typename T>
GObjectPointer<T> anotherReference(T *object)
{
    g_object_ref(object);
    return GObjectPointer<T>(object);
}

} // namespace sim
