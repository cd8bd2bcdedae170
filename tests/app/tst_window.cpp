#include "app/DFU_windows.h"
#include "app/ResultFile.h"
#include "app/myEdit_view.h"
#include "app/process.h"
#include "app/tb210_progress_view.h"
#include "device/resultFilePath.h"
#include "simulator/dropin/Simulator.h"
#include "upgrade/linkFlags.h"

#include <QtTest>
#include <QtWidgets>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

constexpr int pollMs = 10;
// Far above what it takes, for machines under load.
constexpr int endTimeoutMs = 60000;
constexpr int packetCount = 7;
constexpr int chinese = 0;
constexpr int english = 1;
// Indices of the window's labels and buttons, in the order in which they are built.
constexpr int languageLabel = 1;
constexpr int mcuVersion = 2;
constexpr int dspVersion = 3;
constexpr int mcuButton = 0;
constexpr int dspConfirmButton = 3;

/// The overlay before a test's action.
const QString idle = "0/7 0% hidden ";

/// What a box says of a file that is not there, and its buttons.
const QString noSuchFile = qt_error_string(ENOENT) + "|Yes* No ";

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const char *name, const QByteArray &content)
{
    QFile file(name);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("%s cannot be written", name);
}

QByteArray result()
{
    return contentOf(resultFilePath()).replace("\r\n", "\n");
}

QByteArray recordOf(char size)
{
    QByteArray record(size, '\0');
    record[1] = size;
    return record;
}

/// A header of one packet, and three records of two packets each.
QByteArray imageOfVersion(char major, char minor, char patch)
{
    const QByteArray record = recordOf(100).replace(77, 3, QByteArray{} + major + minor + patch);
    return recordOf(11) + record + record + record;
}

/// What a copy of this program does as the DSP vendor's tool: it writes its arguments to a file,
/// one a line, prints another file, and crashes if "crash" is part of that.
int actAsTool(const QByteArrayList &arguments)
{
    writeFile("arguments", arguments.join('\n'));
    const QByteArray text = contentOf("printed");
    std::fputs(text.constData(), stdout);
    std::fflush(stdout);
    if (text.contains("crash"))
        std::abort();
    return 0;
}

/// Instead of the end of the process.
struct Left
{
    int code;
};

} // namespace

/// Replaces the program's own function.
void leaveProcess(int code)
{
    throw Left{code};
}

/// There is one window for all tests, because its threads never stop.
class WindowTest : public QObject
{
    Q_OBJECT

private:
    DFU_windows *window = nullptr;
    QList<QLabel *> labels;
    QList<QPushButton *> buttons;
    QComboBox *languageBox = nullptr;
    QTextEdit *mcuEdit = nullptr;
    QTextEdit *dspEdit = nullptr;
    tb210_progress_view *progressView = nullptr;
    QProgressBar *bar = nullptr;

    QString state() const { return labels[0]->text() + '|' + labels[0]->styleSheet(); }
    /// The overlay: "value/maximum percent", and whether it is hidden.
    QString progress() const
    {
        return QString("%1/%2 ").arg(bar->value()).arg(bar->maximum()) +
               progressView->findChildren<QLabel *>().last()->text() +
               (progressView->isHidden() ? " hidden" : "");
    }

    /// Answers a box, and describes it: "title|text|buttons", the default one with a star.
    static QString answer(QWidget *open)
    {
        auto *const box = qobject_cast<QMessageBox *>(open);
        if (box == nullptr || box->icon() != QMessageBox::Information)
            return {};
        QString seen = box->windowTitle() + '|' + box->text() + '|';
        for (const QAbstractButton *const button : box->buttons())
            seen += button->text().remove('&') + (button == box->defaultButton() ? "* " : " ");
        box->button(QMessageBox::Yes)->click();
        return seen;
    }

    /// What the action does: boxes, "exit CODE" if it ends the process, the overlay, and what it
    /// appends to the result file.
    QString effectOf(const std::function<void()> &action) const
    {
        const int before = result().size();
        QString effect;
        QTimer timer;
        connect(&timer, &QTimer::timeout, &timer,
                [&] { effect += answer(QApplication::activeModalWidget()); });
        timer.start(pollMs);
        try {
            action();
        } catch (const Left &left) {
            effect += QString("exit %1 ").arg(left.code);
            // A quit stays in force until the application's next event loop begins.
            QMetaObject::invokeMethod(qApp, "quit", Qt::QueuedConnection);
            QApplication::exec();
        }
        return effect + progress() + ' ' + result().mid(before);
    }

private slots:
    void initTestCase()
    {
        // It answers the transfer and never gives a verdict.
        sim::Simulator::instance().configure("silent=entry;verdict=none;enter-time=20");
        writeFile("TB210.bin", imageOfVersion(1, 2, 3));
        ResultFile().write("success 1"); // of an earlier run
        window = new DFU_windows("TB210.bin", 3, nullptr);
        labels = window->findChildren<QLabel *>(QString(), Qt::FindDirectChildrenOnly);
        buttons = window->findChildren<QPushButton *>();
        languageBox = window->findChild<QComboBox *>();
        mcuEdit = window->findChild<myEdit_view *>();
        dspEdit = window->findChildren<QTextEdit *>().last();
        progressView = window->findChild<tb210_progress_view *>();
        bar = progressView->bar();
        window->show();
        QCOMPARE(languageBox->currentIndex(), english);
        QCOMPARE(state(), QString("Connected device|color:black"));
        QTRY_VERIFY_WITH_TIMEOUT(!progressView->isVisible(), endTimeoutMs);
        QVERIFY(!result().contains("success"));
    }

    void init()
    {
        window->show(); // an outcome has closed it
        progressView->hide();
        bar->setMaximum(packetCount);
        bar->setValue(0);
        progressView->setPercent(0);
        languageBox->setCurrentIndex(english);
        window->OnConnectDevice();
        buttons[mcuButton]->click();
    }

    void every_widget_has_its_place()
    {
        QString seen;
        QDebug places(&seen);
        for (const auto *const widget :
             window->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly))
            places.nospace() << widget->geometry() << (widget->isHidden() ? "hidden " : " ");
        places << bar->geometry() << window->maximumSize();
        QCOMPARE(seen.remove("QRect").remove('"'),
                 QString("(20,170 200x30) (300,0 80x20) (380,0 100x20) (10,60 60x25) "
                         "(80,60 340x25) (430,60 50x30) (195,120 110x40) (10,70 60x25)hidden "
                         "(80,70 340x25)hidden (430,70 50x30)hidden (195,120 110x40)hidden "
                         "(0,0 500x200)hidden (12,42 266x16)QSize(500, 200)"));
    }

    void the_language_box_switches_the_texts()
    {
        const auto texts = [this](Qt::Key key) {
            QTest::keyClick(languageBox, key);
            QStringList all{mcuEdit->placeholderText(), labels[languageLabel]->text(), state(),
                            QString::number(englishSelected)};
            for (const QPushButton *const button : buttons)
                all += button->text();
            return all.join('|');
        };
        QCOMPARE(texts(Qt::Key_Up), QString("请输入MCU固件路径|语言切换：|已连接设备|color:black|0|"
                                            "MCU固件|确认|DSP固件|确认DSP固件升级"));
        connectedFlag = false;
        QCOMPARE(texts(Qt::Key_Down),
                 QString("Please enter the MCU firmware path|Language:|Please connect the device|"
                         "color:black|1|Firmware|Confirm|DSP固件|确认DSP固件升级"));
        connectedFlag = true;
    }

    void a_dropped_file_is_only_inspected()
    {
        const auto drop = [this](const QList<QUrl> &urls) {
            QMimeData data;
            data.setText("a word");
            data.setUrls(urls);
            QDragEnterEvent enter({1, 1}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            QDropEvent event({1, 1}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            mcuEdit->clear();
            const QString effect = effectOf([&] {
                qApp->notify(mcuEdit->viewport(), &enter);
                qApp->notify(mcuEdit->viewport(), &event);
            });
            const QString seen = effect + mcuEdit->toPlainText() + ' ' + labels[mcuVersion]->text();
            // The upgrade uses the file of the command line all the same.
            buttons[mcuButton]->click();
            return seen + ' ' + mcuEdit->toPlainText() + ' ' + versionText;
        };
        writeFile("other.bin", imageOfVersion(4, 5, 6));
        writeFile("damaged.bin", imageOfVersion(7, 8, 9) + "too much");
        writeFile("two.bin", recordOf(11) + recordOf(64));
        const QString after = " TB210.bin V1.2.3";
        QCOMPARE(drop({}), idle + "a word V1.2.3" + after);
        QCOMPARE(drop({QUrl("file:other.bin"), QUrl("file:missing")}),
                 idle + "other.bin V4.5.6" + after);
        QCOMPARE(drop({QUrl("file:damaged.bin")}), idle + "damaged.bin V1.2.3" + after);
        QCOMPARE(drop({QUrl("file:two.bin")}), idle + "two.bin V0.0.0" + after);
        QCOMPARE(drop({QUrl("file:missing")}),
                 "Title|打开错误+" + noSuchFile + idle + "missing V1.2.3" + after);
    }

    void an_outcome_is_shown_and_ends_the_process()
    {
        const auto outcome = [this](int status, int language) {
            languageBox->setCurrentIndex(language);
            progressView->show();
            return effectOf([&] { window->sendMessage_fail_hand(status); });
        };
        const QString failed = "%1|Yes No exit 0 " + idle + "success -1";
        QCOMPARE(outcome(1, english), failed.arg("Tips|Upgrade failed"));
        QCOMPARE(outcome(1, chinese), failed.arg("提示|升级失败"));
        QCOMPARE(outcome(2, english), "Tips|Upgrade Successful|Yes exit 0 " + idle + "success 1");
        QCOMPARE(outcome(7, english), "Tips|7|Yes " + idle);
    }

    void a_dsp_run_is_followed()
    {
        const auto confirm = [this] { buttons[dspConfirmButton]->click(); };
        dspEdit->setPlainText("a.bin");
        QCOMPARE(effectOf(confirm), "Title|Open Error" + noSuchFile + idle);
        QCOMPARE(labels[dspVersion]->text(), QString("a.bi"));
        // From here on progress is the DSP's. Without a total it is 0, and it is not reported.
        QCOMPARE(effectOf([this] { window->progress_value(3); }), QString("3/7 0% hidden "));
        const QString folder = QCoreApplication::applicationDirPath();
        QFile::remove(folder + "/ktTool.exe"); // of a run that has failed
        QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), folder + "/ktTool.exe"));
        writeFile("dsp_V1.0.bin", "firmware");
        dspEdit->setPlainText("file:///dsp_V1.0.bin");
        // What the tool prints, and what is shown. A run without a total has that of an earlier
        // one.
        for (const QString row : {
                 ": 失败|Yes 0/2 0%",
                 "a/b\rc/d\re/f\rg/h\r: 失败|Yes 0/0 0%",
                 // The total loses two characters: 100% becomes 10.
                 "\rx6/100%\r\r: 失败|Yes 6/10 60%",
                 "\rx6/11xx\r\r: 成功,请重新连接设备|Yes 6/11 54%",
                 "x\ry\rz: 成功,请重新连接设备|Yes 0/2 0%",
                 "\rx2000000000/1xx\r\r: 失败|Yes 0/1 2147483647%",
                 // A total that does not fit into an int.
                 "\rx1/4294967295xx\r\r: 失败|Yes 1/0 -100%",
                 "\rx7/200%\r\rcrash: 成功,请重新连接设备|Yes 7/20 35%",
                 // The third record from the end counts.
                 "x5/200%\rx6/200%\rx7/200%\rx8/2: 成功,请重新连接设备|Yes 6/20 30%",
             }) {
            const QString printed = row.section(": ", 0, 0);
            writeFile("printed", printed.toLatin1());
            bar->setMaximum(2);
            bar->setValue(1);
            progressView->setPercent(1);
            const QString effect = effectOf([&] {
                confirm();
                QCOMPARE(progress(), QString("0/2 0%"));
                QTRY_VERIFY_WITH_TIMEOUT(!progressView->isVisible(), endTimeoutMs);
            });
            QCOMPARE(printed + effect,
                     printed + "Tips|DSP 升级" + row.section(": ", 1) + " hidden ");
        }
        QCOMPARE(labels[dspVersion]->text(), QString("V1.0"));
        QCOMPARE(contentOf("arguments"), QByteArray("0x3C9E\nb\n-s\n-b\ndsp_V1.0.bin"));
        // Without the tool nothing more happens.
        QVERIFY(QFile::remove(folder + "/ktTool.exe"));
        QCOMPARE(effectOf([&] {
                     confirm();
                     QApplication::processEvents();
                 }),
                 QString("0/20 0% "));
    }

    void unplugging_is_shown()
    {
        sim::Simulator::instance().unplug();
        QTRY_COMPARE_WITH_TIMEOUT(state(), QString("Please connect the device|color:red"),
                                  endTimeoutMs);
        sim::Simulator::instance().plug();
        QTRY_COMPARE_WITH_TIMEOUT(state(), QString("Connected device|color:black"), endTimeoutMs);
    }
};

int main(int argc, char *argv[])
{
    if (QFileInfo(argv[0]).baseName() == "ktTool")
        return actAsTool(QByteArrayList(argv + 1, argv + argc));
    QTemporaryDir home;
    QDir::setCurrent(home.path());
    qputenv("XDG_DATA_HOME", home.path().toLocal8Bit());
    // Never destroyed, as in the program itself: the window's threads do not stop.
    [[maybe_unused]] auto *const application = new QApplication(argc, argv);
    WindowTest test;
    const int code = QTest::qExec(&test, argc, argv);
    home.remove();
    std::fflush(stdout);
    std::_Exit(code);
}

#include "tst_window.moc"
