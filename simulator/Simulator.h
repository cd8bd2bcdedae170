#pragma once

#include "simulator/Bus.h"
#include "simulator/IBusListener.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

struct hid_device_;

namespace sim {

class NoticeReceiver;

/// The simulated bus behind the HID library's functions, one in a process.
///
/// Every function may be called from any thread.  A thread of its own drives the
/// devices; it and this object live until the process ends, because they may be in
/// use until then.  The first call reads VELMO_SIM and VELMO_SIM_TRACE; a mistake
/// in them ends the process with one line on standard error and `exitBadSettings`.
class Simulator : private IBusListener
{
public:
    /// What sysexits.h calls a configuration error.
    static constexpr int exitBadSettings = 78;
    /// Input reports that a handle keeps for its reader, as many as hidraw does.
    static constexpr std::size_t inputQueueSize = 64;

    static Simulator &instance();
    Simulator(const Simulator &) = delete;
    Simulator &operator=(const Simulator &) = delete;
    Simulator(Simulator &&) = delete;
    Simulator &operator=(Simulator &&) = delete;
    /// @name For tests
    /// @{

    /// Begins anew with these settings, in the grammar of VELMO_SIM: handles are
    /// closed, records emptied, the registration for notices is forgotten.  The
    /// text says what is wrong with the settings, in which case nothing has
    /// changed; empty for none.
    std::string configure(const std::string &settingsText);
    void reset() { configure({}); }
    /// These three concern the microphone that was opened first, or, before that,
    /// the first one of the list.  Nothing without a microphone.
    void unplug();
    /// Under another product id if one is given.
    void plug(std::optional<std::uint16_t> productId = std::nullopt, bool upgrading = false);
    /// Makes it send this report now.
    void inject(const InputReport &report);
    std::vector<Microphone::Refusal> violations() const;
    /// The output reports that were taken, in order.
    std::vector<std::vector<std::uint8_t>> packets() const;
    /// @}

    /// @name What the HID library's functions come down to
    /// @{

    struct Listing
    {
        std::string path;
        std::uint16_t vendor = 0;
        std::uint16_t product = 0;
    };
    using NoticeCallback = void (*)(unsigned short vendorId, unsigned short productId,
                                    const char *path, int removal, void *context);

    void traceCall(const char *event);
    /// What is on the bus; an id of 0 stands for all.
    std::vector<Listing> enumerate(std::uint16_t vendor, std::uint16_t product);
    /// Null when there is no such device.
    hid_device_ *open(const std::string &path);
    void close(hid_device_ *handle);
    /// What the handle is open on; nothing for a stale one.
    std::optional<Listing> describe(const hid_device_ *handle) const;
    /// Takes its time (Settings::writeTime()).  `length`, or -1.
    int write(hid_device_ *handle, const std::uint8_t *data, std::size_t length);
    /// The report's size, 0 after `timeoutMs` (negative: none), or -1.
    int read(hid_device_ *handle, std::uint8_t *data, std::size_t length, int timeoutMs);
    /// -1 when the handle is non-blocking, otherwise what makes read() wait.
    int readTimeout(const hid_device_ *handle) const;
    bool setNonBlocking(const hid_device_ *handle, bool nonBlocking);
    /// As the HID library's registration: another callback replaces the first one,
    /// and after an unregistration nothing comes any more.
    void registerNotices(NoticeCallback callback, void *context);
    /// Calls the receiver for each notice that waits; on the receiver's thread.
    void deliverNotices();
    /// The event loop is about to end: nothing is posted to it any more.
    void stopNotices();
    /// @}

private:
    struct Notice
    {
        Listing device;
        bool removal = false;
    };

    Simulator();
    /// Never used: there is no end to it, a thread may be inside.
    ~Simulator() override = default;

    void departed(std::size_t index) override;
    void arrived(std::size_t index) override;
    void sent(std::size_t index, const InputReport &report) override;

    void runDevices();
    void apply(const Settings &newSettings, const std::string &text);
    Listing listing(std::size_t index) const;
    void notify(std::size_t index, bool removal);
    hid_device_ *find(const hid_device_ *handle) const;
    int finishRead(hid_device_ &handle, std::uint8_t *data, std::size_t length);
    int failRead(hid_device_ &handle, const char *why);

    /// Guards everything below.
    mutable std::mutex mutex;
    /// For the devices' thread: something is due earlier than it knows.
    std::condition_variable wake;
    /// For readers: a report, a departure or a close.
    std::condition_variable inputChanged;

    Trace trace;
    Bus bus{&trace, this};
    std::vector<std::unique_ptr<hid_device_>> handles;
    std::uint32_t writeCalls = 0;
    std::uint32_t readCalls = 0;
    std::uint32_t reportsRead = 0;

    NoticeCallback noticeCallback = nullptr;
    void *noticeContext = nullptr;
    bool noticesOff = false;
    bool loopEnded = false;
    NoticeReceiver *receiver = nullptr;
    std::deque<Notice> notices;
};

} // namespace sim
