#pragma once

#include <atomic>
#include <type_traits>

/// A variable that several threads share without a lock, by decision of this
/// system.
///
/// One load or one store is whole, and what a thread wrote before a store is
/// seen by whoever reads the stored value (release and acquire; plain moves on
/// x86).  Nothing more is promised: a read followed by a write, `+=` included,
/// is two steps, and another thread may come between them.  Every place where
/// that matters is part of the design and says so.
///
/// Each declaration names its writers and readers.  With PacketList and ReportBuffer,
/// which are made for the same, these declarations are the whole list of what the
/// three threads share while they run, so ThreadSanitizer needs no suppression.
template <typename T>
class Unguarded
{
    static_assert(std::is_trivially_copyable_v<T> && std::atomic<T>::is_always_lock_free);

public:
    Unguarded() = default;
    // Converts silently both ways: it is used wherever the plain value would be.
    Unguarded(T initial)
        : value(initial)
    {
    } // NOLINT(google-explicit-constructor)
    Unguarded(const Unguarded &) = delete;
    Unguarded &operator=(const Unguarded &) = delete;
    Unguarded(Unguarded &&) = delete;
    Unguarded &operator=(Unguarded &&) = delete;
    ~Unguarded() = default;

    operator T() const { return value.load(std::memory_order_acquire); }

    Unguarded &operator=(T next)
    {
        value.store(next, std::memory_order_release);
        return *this;
    }

    /// Two steps, not one: see above.
    Unguarded &operator+=(T difference) { return *this = static_cast<T>(*this) + difference; }

private:
    std::atomic<T> value{};
};
