#include "device/hidapi/hidapi_additions.h"

#include <QTest>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include <windows.h>

#include <dbt.h>

namespace {

// Far more than it needs, for machines under load.
constexpr int noticeTimeoutMs = 30000;

/// Notes a notice as "3C9E:000B arrived PATH".
void note(unsigned short vendor, unsigned short product, const char *path, int removal,
          void *context)
{
    *static_cast<QStringList *>(context) += QString::asprintf(
        "%04X:%04X %s %s", vendor, product, removal != 0 ? "removed" : "arrived", path);
}

/// This process's windows of the library's class. The class name is 8-bit text read as wide
/// characters.
std::vector<HWND> libraryWindows()
{
    std::array<wchar_t, 20> name{};
    const QByteArray text = "{2FCD1C73-42E0-4EF3-8A0C-96FE38475572}";
    std::memcpy(name.data(), text.constData(), static_cast<std::size_t>(text.size()));
    std::vector<HWND> windows;
    HWND window = nullptr;
    while ((window = FindWindowExW(nullptr, window, name.data(), nullptr)) != nullptr) {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        if (process == GetCurrentProcessId())
            windows.push_back(window);
    }
    return windows;
}

/// Sends the window the message that the system would send.
void announce(WPARAM event, DWORD type, const QString &path)
{
    const std::wstring name = path.toStdWString();
    std::vector<unsigned char> room(sizeof(DEV_BROADCAST_DEVICEINTERFACE_W) + 2 * name.size());
    auto *const record = reinterpret_cast<DEV_BROADCAST_DEVICEINTERFACE_W *>(room.data());
    record->dbcc_size = static_cast<DWORD>(room.size());
    record->dbcc_devicetype = type;
    std::memcpy(record->dbcc_name, name.c_str(), 2 * (name.size() + 1));
    SendMessageW(libraryWindows().front(), WM_DEVICECHANGE, event,
                 reinterpret_cast<LPARAM>(record));
}

} // namespace

/// Arrivals and removals on Windows, and the window that receives them. A process has one such
/// window, so the order of the cases matters.
class HidWindowTest : public QObject
{
    Q_OBJECT

private:
    QStringList notices;

private slots:
    void init() { notices.clear(); }

    void registering_makes_one_hidden_window()
    {
        QVERIFY(libraryWindows().empty());
        QStringList replaced;
        for (QStringList *list : {&replaced, &notices}) {
            hid_register_device_notification(note, list);
            QCOMPARE(libraryWindows().size(), std::size_t{1});
            QVERIFY(!IsWindowVisible(libraryWindows().front()));
        }
        announce(DBT_DEVICEARRIVAL, DBT_DEVTYP_DEVICEINTERFACE, "\\\\?\\HID#VID_3C9E&PID_000B#1");
        QCOMPARE(notices.size(), 1);
        QVERIFY(replaced.isEmpty());
    }

    void only_interfaces_with_ids_are_announced()
    {
        struct Row
        {
            WPARAM event;
            DWORD type;
            QString path;
            /// What is told before the path; null for nothing.
            const char *told;
        };
        const DWORD hid = DBT_DEVTYP_DEVICEINTERFACE;
        const QString path = "\\\\?\\hid#vid_3c9e&pid_00aB#6&1#{4d1e}"; // keeps its letter case
        for (const Row &row : std::initializer_list<Row>{
                 {0x8000, hid, path, "3C9E:00AB arrived "},
                 {0x8004, hid, path, "3C9E:00AB removed "},
                 {0x8003, hid, path, nullptr}, // about to go
                 {0x8000, DBT_DEVTYP_OEM, path, nullptr},
                 {0x8000, hid, "\\\\?\\HID#ACPI0011#7", nullptr},
                 {0x8000, hid, path + QString(256, 'x'), nullptr},
             }) {
            notices.clear();
            announce(row.event, row.type, row.path);
            QCOMPARE(notices,
                     row.told != nullptr ? QStringList{row.told + row.path} : QStringList());
        }
        QCOMPARE(SendMessageW(libraryWindows().front(), WM_DEVICECHANGE, DBT_DEVICEARRIVAL, 0),
                 LRESULT{0});
    }

    /// Needs VELMO_SIM="devices=000B;unplug-after=3000;replug-after=50". The 3 s are for
    /// wine, which starts to listen a moment after the registration.
    void a_device_that_goes_and_comes_back()
    {
        if (!qEnvironmentVariableIsSet("VELMO_SIM"))
            QSKIP("no microphone: start this with velmo-sim-wine");
        hid_device_info *const found = hid_enumerate(0x3C9E, 0x000B);
        QVERIFY(found != nullptr);
        const QString path = QString::fromLocal8Bit(found->path);
        hid_device *const device = hid_open_path(found->path);
        hid_free_enumeration(found);
        QVERIFY(device != nullptr);
        const std::array<unsigned char, 65> entry = {0x4B, 0, 11};
        hid_write(device, entry.data(), entry.size());
        QTRY_VERIFY_WITH_TIMEOUT(notices.size() == 2, noticeTimeoutMs);
        hid_close(device);
        for (const char *told : {"3C9E:000B removed ", "3C9E:000B arrived "})
            QCOMPARE(notices.takeFirst().toLower(), QString(told + path).toLower());
    }

    void after_unregistering_it_stays_off()
    {
        for (const auto callback : {hid_device_notification_callback{nullptr}, &note}) {
            hid_register_device_notification(callback, &notices);
            QVERIFY(libraryWindows().empty());
        }
    }
};

QTEST_GUILESS_MAIN(HidWindowTest)
#include "tst_hid_window.moc"
