#include "device/openFailure.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/// Nobody in particular; the superuser may open everything.
constexpr long somebody = 65534;
constexpr long unchanged = -1;

} // namespace

/// What is said of a node that does not open.
class OpenFailureTest : public QObject
{
    Q_OBJECT

private slots:
    void names_the_remedy_data()
    {
        QTest::addColumn<int>("mode"); // -1: there is no such node
        QTest::addColumn<QString>("says");
        QTest::newRow("not ours") << 0 << QStringLiteral("70-velmo-microphones.rules");
        QTest::newRow("not for writing") << S_IRUSR << QStringLiteral("70-velmo-microphones.rules");
        QTest::newRow("gone") << -1 << QStringLiteral("it is gone. Plug the microphone in anew.");
        QTest::newRow("another reason") << 0666 << QStringLiteral(". Plug the microphone in anew.");
    }

    void names_the_remedy()
    {
        QFETCH(int, mode);
        QFETCH(QString, says);
        const QTemporaryDir folder;
        const QByteArray node = QFile::encodeName(folder.filePath(QStringLiteral("hidraw0")));
        chmod(QFile::encodeName(folder.path()).constData(), S_IRWXU | S_IRWXG | S_IRWXO);
        if (mode != -1)
            QVERIFY(QFile(QFile::decodeName(node)).open(QIODevice::WriteOnly));
        chmod(node.constData(), static_cast<mode_t>(mode));

        // As somebody else, this thread alone.
        const bool root = geteuid() == 0;
        if (root)
            syscall(SYS_setresuid, somebody, unchanged, unchanged);
        const QString text = openFailure(node.constData());
        if (root)
            syscall(SYS_setresuid, 0L, unchanged, unchanged);
        QVERIFY2(text.contains(says), qPrintable(text));
        QCOMPARE(text.contains(QStringLiteral("no permission")), mode == 0 || mode == S_IRUSR);
    }
};

QTEST_GUILESS_MAIN(OpenFailureTest)
#include "tst_open_failure.moc"
