#pragma once

#include <QByteArray>
#include <QList>

#include <atomic>
#include <deque>

/// A list of byte arrays. One thread may fill it while another reads it and a third empties
/// it, without a lock.
///
/// A QList would not survive that: two threads that empty it at the same time free its storage
/// twice. Here, emptying only switches to another, empty list. A filled list stays in memory
/// until many more have been filled. So between two calls the list may become empty or another
/// one, but nothing worse can happen.
class PacketList
{
public:
    using List = QList<QByteArray>;

    PacketList() = default;
    Q_DISABLE_COPY_MOVE(PacketList)
    ~PacketList() = default;

    /// Fills the list. Call it on one thread only.
    PacketList &operator=(const List &packets)
    {
        filled.push_back(packets);
        current.store(&filled.back(), std::memory_order_release);
        if (filled.size() > keptLists)
            filled.pop_front();
        return *this;
    }

    /// Any thread.
    void clear() { current.store(&none, std::memory_order_release); }
    bool isEmpty() const { return list().isEmpty(); }
    int size() const { return list().size(); }
    /// The packet at `index`, or an empty array if there is none.
    QByteArray value(int index) const { return list().value(index); }
    /// The packets from `position` on, at most `length`.
    List mid(int position, int length = -1) const { return list().mid(position, length); }

private:
    /// A reader uses a list only during one call. In that time not nearly this many lists are
    /// filled: each new one takes a batch's exchange or a user's click.
    static constexpr std::size_t keptLists = 64;

    const List &list() const { return *current.load(std::memory_order_acquire); }

    const List none;
    std::atomic<const List *> current{&none};
    /// A deque does not move its elements. Used by the filling thread only. The last list is
    /// the current one unless the list was emptied.
    std::deque<List> filled;
};
