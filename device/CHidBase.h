#pragma once

#include "device/ICommunicateDevice.h"
#include "device/hidapi/hidapi_additions.h"

#include <QObject>

#include <array>
#include <atomic>

/// The microphone as a USB HID device, reached through hidapi.
///
/// It has no lock. The operator thread writes, the worker thread reads, and the main
/// thread opens, closes and receives the arrival and removal notices. The main thread may
/// close a handle while another thread is inside a call; our HID library allows that.
class CHidBase : public ICommunicateDevice, public QObject
{
public:
    /// Bytes of an input report as read from the device.
    static constexpr std::size_t inputReportSize = 64;

    CHidBase();
    ~CHidBase() override;
    Q_DISABLE_COPY_MOVE(CHidBase)

    bool init() override;
    /// Ignores its arguments: the flags of deviceSelection.h select the device. The first
    /// match of the enumeration wins.
    const void *findDevice(std::uint32_t vid, std::uint32_t pid, std::uint32_t option) override;
    bool getDeviceInfo(const void *record, char *pathOut, std::uint32_t *vidOut,
                       std::uint32_t *pidOut) override;
    int getVid() override { return vid; }
    int getPid() override { return pid; }
    /// Quirk: compares the open device's vendor id with g_activeModelCode, which is always 0
    /// in the updater. So this is false for every open microphone, and the manager calls
    /// open() on an open device, which does nothing.
    bool isOpen() override;
    const char *getProductName() override { return productName.data(); }
    bool open(const char *path, std::uint32_t vid, std::uint32_t pid,
              std::uint32_t option) override;
    void close() override;
    bool write(const std::uint8_t *data, std::size_t length) override;
    bool waitRead(bool flag, int ignored) override;
    bool read(std::uint8_t *destination, int ignored) override;
    int getMaxInputReportLen() override { return maxInputReportLen; }
    const char *getPath() override { return path.data(); }
    void registerNotify(NotifyCallback callback, void *context) override;

private:
    static void relay(unsigned short vid, unsigned short pid, const char *path, int removal,
                      void *context);

    std::array<char, 256> path{};
    std::array<char, 128> productName{};
    /// Written by the main thread (open, close), read by all three threads.
    std::atomic<hid_device *> handle{nullptr};
    /// Worker thread. waitRead() would use it on the operator thread, but no loop of the
    /// updater calls that.
    std::array<std::uint8_t, 65> readBuffer{};
    int maxInputReportLen = 0;
    hid_device_info *foundDevice = nullptr;
    bool hidInitialised = false;
    NotifyCallback notifyCallback = nullptr;
    void *notifyContext = nullptr;
    /// True while findDevice() enumerates. Notices delivered meanwhile are dropped. (On
    /// Linux there are none: they wait for the thread's event loop.)
    bool searching = false;
    int vid = 0;
    int pid = 0;
};
