#include "simulator/Crc32.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray image;
    QString error;
};

Run run(const QStringList &arguments, bool existing = false)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("image.bin"));
    if (existing) {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write("old");
    }
    QProcess process;
    process.start(QStringLiteral(MKFIRMWARE), arguments + QStringList(path));
    process.waitForFinished();
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return {process.exitCode(), file.readAll(),
            QString::fromLocal8Bit(process.readAllStandardError())};
}

quint32 number(const QByteArray &bytes, int at, int size)
{
    quint32 value = 0;
    for (int i = size - 1; i >= 0; --i)
        value = value << 8 | static_cast<quint8>(bytes[at + i]);
    return value;
}

} // namespace

/// velmo-mkfirmware: the images it writes and the mistakes it names.
class MkfirmwareTest : public QObject
{
    Q_OBJECT

private slots:
    void writesASealedImage();
    void breaksAsAsked_data();
    void breaksAsAsked();
    void namesMistakes_data();
    void namesMistakes();
    void keepsTheOldFileWhenItFails();
};

void MkfirmwareTest::writesASealedImage()
{
    const QStringList arguments = QStringLiteral("--version 1.2.103 --sizes 100,64,65").split(' ');
    const Run made = run(arguments, true);
    QCOMPARE(made.exitCode, 0);
    const QByteArray &image = made.image;
    QCOMPARE(image.size(), 11 + 100 + 64 + 65);
    QCOMPARE(number(image, 1, 2), 11U);
    QCOMPARE(number(image, 12, 2), 100U);
    QCOMPARE(number(image, 112, 2), 64U);
    QCOMPARE(number(image, 176, 2), 65U);
    QCOMPARE(image.mid(11 + 77, 3), QByteArray("\1\2\147"));
    QCOMPARE(number(image, 3, 1), 0x56U);
    QCOMPARE(number(image, 4, 3), 3U);

    sim::Crc32 known;
    known.add(reinterpret_cast<const std::uint8_t *>("123456789"), 9);
    QCOMPARE(known.value(), 0xCBF43926U); // the CRC's published check value
    sim::Crc32 crc;
    crc.add(reinterpret_cast<const std::uint8_t *>(image.constData()) + 11, 229);
    QCOMPARE(number(image, 7, 4), crc.value());

    QCOMPARE(run(arguments).image, image);
    QVERIFY(run(arguments + QStringList({"--seed", "1"})).image != image);
    QCOMPARE(run({}).image.size(), 11 + 20 * 256);
}

void MkfirmwareTest::breaksAsAsked_data()
{
    // Of two records with 20 bytes each: the size, and a number that is as it
    // should not be, if the size alone does not show it.
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("at");
    QTest::addColumn<int>("value");
    QTest::newRow("empty") << 0 << -1 << 0;
    QTest::newRow("short-header") << 5 << 1 << 11;
    QTest::newRow("header-length") << 52 << 1 << 12;
    QTest::newRow("record-length-below-3") << 51 << 32 << 2;
    QTest::newRow("record-past-end") << 50 << 32 << 20;
    QTest::newRow("trailing-bytes") << 53 << 32 << 20;
    QTest::newRow("header-only") << 11 << 1 << 11;
}

void MkfirmwareTest::breaksAsAsked()
{
    QFETCH(int, at);
    QFETCH(int, value);
    const Run made = run({"--sizes", "20,20", "--broken", QTest::currentDataTag()});
    QCOMPARE(made.exitCode, 0);
    QTEST(made.image.size(), "size");
    if (at >= 0)
        QCOMPARE(number(made.image, at, 2), static_cast<quint32>(value));
}

void MkfirmwareTest::namesMistakes_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("named");
    const auto row = [](const char *arguments, const char *named) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments) << QString::fromLatin1(named);
    };
    row("--nonsense", "nonsense");
    row("other.bin", "OUT");
    row("--records many", "many");
    row("--records 0", "records");
    row("--records 16777216", "16777215");
    row("--size 2", "3 to 65535");
    row("--size 65536", "3 to 65535");
    row("--sizes 20,,20", "sizes");
    row("--sizes 20 --size 20", "alone");
    row("--version 1.2", "1.2");
    row("--version 1.2.128", "127");
    row("--version 1.2.3 --sizes 79,200", "80");
    row("--broken badly", "header-only");
}

void MkfirmwareTest::namesMistakes()
{
    QFETCH(QString, arguments);
    QFETCH(QString, named);
    const Run made = run(arguments.split(' '), true);
    QCOMPARE(made.exitCode, 64);
    QCOMPARE(made.image, QByteArray("old"));
    QVERIFY2(made.error.contains(named), qPrintable(made.error));
    QCOMPARE(made.error.count('\n'), 1);
}

void MkfirmwareTest::keepsTheOldFileWhenItFails()
{
    QProcess process;
    const QTemporaryDir folder;
    process.start(QStringLiteral(MKFIRMWARE), {folder.filePath(QStringLiteral("none/image.bin"))});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 1);
    QVERIFY(process.readAllStandardError().contains("none/image.bin"));
}

QTEST_GUILESS_MAIN(MkfirmwareTest)
#include "tst_mkfirmware.moc"
