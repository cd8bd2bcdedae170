#pragma once

#include <QByteArray>
#include <QList>

#include <atomic>
#include <deque>

/// A list of byte arrays that one thread fills, another walks and a third may
/// empty meanwhile, without a lock.
///
/// The toolkit's list itself would not survive that: two threads that empty it
/// at once release its storage twice.  Here emptying only points to another,
/// empty list, and a list once filled in stays in memory, unchanged, until many more
/// have been filled in.  So whoever walks has to expect the list to become empty or
/// another one between any two calls, and nothing worse.
class PacketList
{
public:
    using List = QList<QByteArray>;

    PacketList() = default;
    Q_DISABLE_COPY_MOVE(PacketList)
    ~PacketList() = default;

    /// Fills the list; always the same thread for one object.
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
    /// The packet at `index`, or an empty array where there is none.
    QByteArray value(int index) const { return list().value(index); }
    /// The packets from `position`; as many as there are, `length` at most.
    List mid(int position, int length = -1) const { return list().mid(position, length); }

private:
    /// A reader is inside a list for less than the shortest of its calls; the filling
    /// thread needs a batch's whole exchange, or a person's press, for each new one.
    static constexpr std::size_t keptLists = 64;

    const List &list() const { return *current.load(std::memory_order_acquire); }

    const List none;
    std::atomic<const List *> current{&none};
    /// A deque does not move its elements; touched by the filling thread only.  The
    /// last one is the current one, or the list has been emptied.
    std::deque<List> filled;
};
