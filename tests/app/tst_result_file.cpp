#include "app/ResultFile.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

/// The result file in a home of its own, and what cannot be written.
class ResultFileTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> home;

    QString path() const { return home->filePath(QStringLiteral("CorvoUpgrade/Firmware_bin.txt")); }

    QByteArray content() const
    {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }

private slots:
    void init()
    {
        home = std::make_unique<QTemporaryDir>();
        QVERIFY(home->isValid());
        qputenv("XDG_DATA_HOME", home->path().toLocal8Bit());
    }

    void a_run_empties_the_file_and_appends()
    {
        QDir(home->path()).mkdir(QStringLiteral("CorvoUpgrade"));
        QFile earlier(path());
        QVERIFY(earlier.open(QIODevice::WriteOnly));
        earlier.write("100%\nsuccess 1");
        earlier.close();

        ResultFile file;
        file.prepare();
        QCOMPARE(content(), QByteArray());
        QVERIFY(file.write(QStringLiteral("42%\n")));
        QCOMPARE(content(), QByteArray("42%\n")); // on the disk at once
        QVERIFY(file.write(QStringLiteral("success -1")));
        QCOMPARE(content(), QByteArray("42%\nsuccess -1"));
    }

    void the_folder_is_made_again_when_it_has_gone()
    {
        ResultFile file;
        file.prepare();
        QVERIFY(QDir(home->filePath(QStringLiteral("CorvoUpgrade"))).removeRecursively());
        QVERIFY(file.write(QStringLiteral("success 1")));
        QCOMPARE(content(), QByteArray("success 1"));
    }

    void what_cannot_be_written_is_left_out()
    {
        // A file where the folder should be; permissions do not stop root.
        QFile inTheWay(home->filePath(QStringLiteral("CorvoUpgrade")));
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
        ResultFile file;
        file.prepare();
        QVERIFY(!file.write(QStringLiteral("success 1")));
        // One level only: a data folder that is missing is not made.
        qputenv("XDG_DATA_HOME", home->filePath(QStringLiteral("missing")).toLocal8Bit());
        QVERIFY(!file.write(QStringLiteral("success 1")));
        QVERIFY(!QDir(home->filePath(QStringLiteral("missing"))).exists());
    }
};

QTEST_GUILESS_MAIN(ResultFileTest)
#include "tst_result_file.moc"
