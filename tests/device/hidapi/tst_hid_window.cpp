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
constexpr std::size_t reportSize = 65;
constexpr std::uint8_t reportId = 0x4B;

struct Notice
{
    unsigned vendor;
    unsigned product;
    QByteArray path;
    bool removal;
};
using Notices = std::vector<Notice>;

void note(unsigned short vendor, unsigned short product, const char *path, int removal,
          void *context)
{
    static_cast<Notices *>(context)->push_back({vendor, product, path, removal != 0});
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
void announce(WPARAM event, DWORD type, const std::wstring &name)
{
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
    Notices notices;
    Notices laterNotices;

private slots:
    void init()
    {
        notices.clear();
        laterNotices.clear();
        const QByteArray test = QTest::currentTestFunction();
        QVERIFY(test.startsWith("registering_makes") || test.startsWith("after_unregistering") ||
                !libraryWindows().empty());
    }

    void registering_makes_one_hidden_window()
    {
        QVERIFY(libraryWindows().empty());
        hid_register_device_notification(note, &notices);
        QCOMPARE(libraryWindows().size(), std::size_t{1});
        QVERIFY(!IsWindowVisible(libraryWindows().front()));
    }

    void announced_data()
    {
        QTest::addColumn<uint>("event");
        QTest::addColumn<uint>("type");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("told"); // empty: nothing
        const uint hid = DBT_DEVTYP_DEVICEINTERFACE;
        const QString name = QStringLiteral("\\\\?\\hid#vid_3c9e&pid_00aB#6&1#{4d1e}");
        QTest::newRow("arrival") << 0x8000U << hid << name << QStringLiteral("3C9E:00AB arrived");
        QTest::newRow("removal") << 0x8004U << hid << name << QStringLiteral("3C9E:00AB removed");
        QTest::newRow("another vendor's")
            << 0x8000U << hid << QStringLiteral("\\\\?\\HID#VID_046D&PID_C31C#7")
            << QStringLiteral("046D:C31C arrived");
        QTest::newRow("about to go") << 0x8003U << hid << name << QString();
        QTest::newRow("no interface") << 0x8000U << uint{DBT_DEVTYP_OEM} << name << QString();
        QTest::newRow("without ids")
            << 0x8000U << hid << QStringLiteral("\\\\?\\HID#ACPI0011#7") << QString();
        QTest::newRow("longer than a path may be")
            << 0x8000U << hid << name + QString(256, QLatin1Char('x')) << QString();
    }

    void announced()
    {
        QFETCH(uint, event);
        QFETCH(uint, type);
        QFETCH(QString, name);
        QFETCH(QString, told);
        announce(event, type, name.toStdWString());
        QCOMPARE(notices.size(), told.isEmpty() ? std::size_t{0} : std::size_t{1});
        if (told.isEmpty())
            return;
        const Notice &notice = notices.front();
        QCOMPARE(QString::asprintf("%04X:%04X %s", notice.vendor, notice.product,
                                   notice.removal ? "removed" : "arrived"),
                 told);
        QCOMPARE(notice.path, name.toLatin1()); // letter case unchanged
    }

    void a_message_without_a_record_is_nothing()
    {
        QCOMPARE(SendMessageW(libraryWindows().front(), WM_DEVICECHANGE, DBT_DEVICEARRIVAL, 0),
                 LRESULT{0});
        QVERIFY(notices.empty());
    }

    /// Needs VELMO_SIM="devices=000B;unplug-after=3000;replug-after=50". The 3 s are for
    /// wine, which starts to listen a moment after the registration.
    void a_device_that_goes_and_comes_back()
    {
        hid_device_info *const found = hid_enumerate(0x3C9E, 0x000B);
        if (!qEnvironmentVariableIsSet("VELMO_SIM"))
            QSKIP("no microphone: start this with velmo-sim-wine");
        QVERIFY(found != nullptr);
        const QByteArray path = found->path;
        hid_free_enumeration(found);
        hid_device *const device = hid_open_path(path.constData());
        QVERIFY(device != nullptr);
        const std::array<unsigned char, reportSize> entry = {reportId, 0, 11};
        hid_write(device, entry.data(), entry.size());
        QTRY_VERIFY_WITH_TIMEOUT(notices.size() == 2, noticeTimeoutMs);
        hid_close(device);
        for (const Notice &notice : notices) {
            QCOMPARE(notice.removal, &notice == &notices.front());
            QCOMPARE(QString::asprintf("%04X:%04X", notice.vendor, notice.product),
                     QStringLiteral("3C9E:000B"));
            QCOMPARE(notice.path.toLower(), path.toLower());
        }
    }

    void registering_again_replaces_the_receiver_without_a_second_window()
    {
        const std::vector<HWND> before = libraryWindows();
        hid_register_device_notification(note, &laterNotices);
        QCOMPARE(libraryWindows(), before);
        announce(DBT_DEVICEARRIVAL, DBT_DEVTYP_DEVICEINTERFACE, L"\\\\?\\HID#VID_3C9E&PID_000B#1");
        QVERIFY(notices.empty());
        QCOMPARE(laterNotices.size(), std::size_t{1});
    }

    void after_unregistering_it_stays_off()
    {
        hid_register_device_notification(nullptr, nullptr);
        QVERIFY(libraryWindows().empty());
        hid_register_device_notification(note, &notices);
        QVERIFY(libraryWindows().empty());
    }
};

QTEST_GUILESS_MAIN(HidWindowTest)
#include "tst_hid_window.moc"
