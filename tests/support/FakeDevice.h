#pragma once

#include "device/ICommunicateDevice.h"

#include <QByteArray>
#include <QList>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string>

/// A device without a bus.  Nothing is present, opens, is written or read unless
/// the test says so.  Writes may come from another thread than the test's.
class FakeDevice : public ICommunicateDevice
{
public:
    struct Present
    {
        std::string path;
        std::uint32_t vid = 0;
        std::uint32_t pid = 0;
    };

    /// The one that the manager under test has created last.
    static inline FakeDevice *last = nullptr;

    FakeDevice() { last = this; }

    bool init() override { return initResult; }

    /// Finds by the asked product id, as long as something is present under it.
    const void *findDevice(std::uint32_t /*vid*/, std::uint32_t pid,
                           std::uint32_t /*option*/) override
    {
        searches.append(static_cast<int>(pid));
        const auto at = present.find(pid);
        return at == present.end() ? nullptr : &at->second;
    }

    bool getDeviceInfo(const void *record, char *pathOut, std::uint32_t *vidOut,
                       std::uint32_t *pidOut) override
    {
        const auto &found = *static_cast<const Present *>(record);
        std::strcpy(pathOut, found.path.c_str());
        *vidOut = found.vid;
        *pidOut = found.pid;
        return true;
    }

    int getVid() override { return 0; }
    int getPid() override { return openPid; }
    bool isOpen() override { return reportsOpen; }
    const char *getProductName() override { return ""; }

    bool open(const char *path, std::uint32_t /*vid*/, std::uint32_t pid,
              std::uint32_t /*option*/) override
    {
        if (!openResult)
            return false;
        openPath = path;
        openPid = static_cast<int>(pid);
        canWrite = true;
        return true;
    }

    void close() override
    {
        canWrite = false;
        ++closes;
    }

    bool write(const std::uint8_t *data, std::size_t length) override
    {
        const std::lock_guard<std::mutex> lock(mutex);
        writes.append(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(length)));
        ++writeCount;
        return canWrite;
    }

    bool waitRead(bool /*flag*/, int /*ignored*/) override
    {
        ++waitReads;
        return false;
    }

    bool read(std::uint8_t *destination, int /*ignored*/) override
    {
        if (reports.empty())
            return false;
        std::copy_n(reports.front().constData(), 64, reinterpret_cast<char *>(destination));
        reports.pop_front();
        return true;
    }

    int getMaxInputReportLen() override { return 64; }
    const char *getPath() override { return openPath.c_str(); }

    void registerNotify(NotifyCallback callback, void *context) override
    {
        notify = callback;
        notifyContext = context;
    }

    static inline bool initResult = true;
    bool openResult = false;
    bool reportsOpen = false;
    std::atomic<bool> canWrite{false};
    std::map<std::uint32_t, Present> present;
    QList<int> searches;
    std::string openPath;
    int openPid = 0;
    int closes = 0;
    int waitReads = 0;
    std::deque<QByteArray> reports;
    std::mutex mutex;
    QList<QByteArray> writes;
    std::atomic<int> writeCount{0};
    NotifyCallback notify = nullptr;
    void *notifyContext = nullptr;
};
