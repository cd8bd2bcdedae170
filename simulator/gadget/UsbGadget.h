#pragma once

#include "simulator/host/FileDescriptor.h"
#include "simulator/wire.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <string>
#include <vector>

namespace sim {

/// One HID device that this machine's kernel shows to itself: a USB gadget on a dummy
/// controller of its own (dummy_hcd), so that it has a USB bus to itself.  Made and taken
/// apart through configfs, which takes root.
///
/// Functions that fail throw std::system_error or std::filesystem::filesystem_error with
/// the file that it is about.
class UsbGadget
{
public:
    /// How many of them the system has room for: a controller each, and 4 at most.  They
    /// are numbered from 0.
    static std::size_t room();
    /// Takes apart what a killed process left behind.  Nobody else may use this class
    /// meanwhile.
    static void removeLeftovers();

    explicit UsbGadget(std::size_t controllerNumber);
    ~UsbGadget();
    UsbGadget(const UsbGadget &) = delete;
    UsbGadget &operator=(const UsbGadget &) = delete;
    UsbGadget(UsbGadget &&) = delete;
    UsbGadget &operator=(UsbGadget &&) = delete;

    /// Puts it on its bus.  The system takes its time to notice: some 100 ms.
    void plug(std::uint16_t vendor, std::uint16_t product);
    /// Reports on their way are lost.
    void unplug();
    bool isPlugged() const { return node.isOpen(); }

    /// Of the device's end, while it is plugged: readable when receive() has a report,
    /// writable when flush() can get on.
    int descriptor() const { return node.get(); }
    /// The next output report; empty when there is none.
    std::vector<std::uint8_t> receive() const;
    /// Input reports wait here for the host to fetch the one before.
    void send(const InputReport &report) { waiting.push_back(report); }
    bool hasWaiting() const { return !waiting.empty(); }
    /// Sends one of them.
    void flush();

    /// The hidraw node that the system gives the device on this controller, "/dev/hidraw0";
    /// empty when there is none.
    static std::string hostNode(std::size_t controllerNumber);

private:
    std::size_t controller;
    std::filesystem::path folder;
    FileDescriptor node;
    std::deque<InputReport> waiting;
};

} // namespace sim
