#pragma once

#include "simulator/model/Bus.h"
#include "simulator/umockdev/FileDescriptor.h"
#include "simulator/umockdev/Testbed.h"

#include <umockdev.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace sim {

/// One HID device on the test bed, from its plugging in to its removal: its node in
/// /dev, the USB device, interface, HID and hidraw devices in /sys, and their events.
///
/// umockdev does not replace poll(), but a host that waits for a report must wake up. So the
/// node is a link to a pseudo-terminal. Each report that waits puts one byte into the
/// terminal; closing the terminal's other side hangs up, as a removal does. The reports and
/// everything else go through umockdev's own socket.
///
/// It lives until the test bed is gone, longer than its device, because programs keep nodes
/// open that do not exist any more. The thread that made it calls its functions; the
/// handlers run on the test bed's thread.
class HidrawNode
{
public:
    struct Identity
    {
        DeviceId id;
        /// "/dev/hidrawN", N its number.
        std::string path;
        /// The USB port, from 0 on. It decides the order of the enumeration.
        std::size_t port;
        /// How many devices were plugged in before.
        unsigned instance;
    };

    /// What a program did with the node.
    struct Request
    {
        HidrawNode *node;
        /// The write that waits to be completed, or null if the node was opened.
        std::shared_ptr<UMockdevIoctlClient> writer;
    };
    using Inbox = std::function<void(Request)>;

    /// Plugs it in. Requests go to `requestInbox`, on the test bed's thread. Throws
    /// std::system_error when the system is out of terminals.
    HidrawNode(const Testbed &bed, Identity newIdentity, Inbox requestInbox);

    /// Drops the reports that wait. A program that opens the node gets later ones only.
    void forgetReports();
    /// Queues an input report. When the queue is full, the oldest report is dropped and
    /// returned.
    std::optional<Bus::Report> send(const Bus::Report &report);
    /// Takes the device off the bus. Reads that wait fail.
    void unplug();

private:
    void makeTerminal();
    void makeDevices();
    int terminalNumber() const;
    void handOver(UMockdevIoctlClient *reader);
    void takeToken() const;

    static gboolean onControl(UMockdevIoctlBase *base, UMockdevIoctlClient *client, gpointer node);
    static gboolean onRead(UMockdevIoctlBase *base, UMockdevIoctlClient *client, gpointer node);
    static gboolean onWrite(UMockdevIoctlBase *base, UMockdevIoctlClient *client, gpointer node);
    static void onOpened(UMockdevIoctlBase *base, UMockdevIoctlClient *client, gpointer node);

    const Testbed &testbed;
    const Identity self;
    const Inbox inbox;
    std::shared_ptr<UMockdevIoctlBase> handler;
    /// In /sys, from the outermost on.
    std::string usbDevice;
    std::string usbInterface;
    std::string hidDevice;
    std::string hidrawDevice;

    /// Guards what follows.
    std::mutex mutex;
    bool gone = false;
    FileDescriptor master;
    FileDescriptor slave;
    std::deque<Bus::Report> reports;
    std::deque<std::shared_ptr<UMockdevIoctlClient>> readers;
};

} // namespace sim
