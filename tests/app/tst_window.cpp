#include "app/DFU_windows.h"
#include "app/myEdit_view.h"
#include "app/process.h"
#include "app/tb210_progress_view.h"
#include "dsp/dfu_0206_view.h"
#include "simulator/dropin/Simulator.h"
#include "tests/support/FakeTool.h"
#include "upgrade/DevOperator.h"
#include "upgrade/linkFlags.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QDropEvent>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMetaMethod>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUrl>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

constexpr int pollMs = 10;
// Far above what it takes, for machines under load.
constexpr int endTimeoutMs = 60000;
constexpr int packetCount = 7;

constexpr QRect statePlace(20, 170, 200, 30);
constexpr QRect languageLabelPlace(300, 0, 80, 20);
constexpr QRect mcuButtonPlace(10, 60, 60, 25);
constexpr QRect mcuVersionPlace(430, 60, 50, 30);
constexpr QRect confirmPlace(195, 120, 110, 40);
constexpr QRect dspButtonPlace(10, 70, 60, 25);
constexpr QRect dspEditPlace(80, 70, 340, 25);
constexpr QRect dspVersionPlace(430, 70, 50, 30);

enum Language
{
    Chinese = 0,
    English = 1
};

QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

/// Columns of a table of cases, by their types and names.
template <typename... Types>
void columns(std::initializer_list<const char *> names)
{
    const char *const *name = names.begin();
    (QTest::addColumn<Types>(*name++), ...);
}

QString cell(const char *utf8)
{
    return text(utf8);
}
int cell(Language language)
{
    return language;
}
template <typename Value>
Value cell(const Value &value)
{
    return value;
}

template <typename... Values>
void row(const char *name, const Values &...values)
{
    (QTest::newRow(name) << ... << cell(values));
}

bool testsRun = false;

/// Where this process has its image and its data.
QDir home;

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile::remove(path);
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
}

QByteArray result()
{
    const bool windows = QSysInfo::kernelType() == text("winnt");
    const QDir own(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation));
    const QString data = windows ? own.filePath(text("..")) : home.path();
    return contentOf(data + text("/CorvoUpgrade/Firmware_bin.txt")).replace("\r\n", "\n");
}

/// What the system says of a file that is not there.
QString noSuchFile()
{
    QFile file(home.filePath(text("no such file")));
    file.open(QIODevice::ReadOnly);
    return file.errorString();
}

QByteArray recordOf(char size)
{
    QByteArray record(size, '\0');
    record[1] = size;
    return record;
}

/// The header's packet and three records of two packets each.
QByteArray imageOfVersion(char major, char minor, char patch)
{
    QByteArray record = recordOf(100);
    record[77] = major;
    record[78] = minor;
    record[79] = patch;
    return recordOf(11) + record + record + record;
}

/// Answers every message box that comes up during the action, and tells what they show:
/// "icon|title|text|buttons|default button".
QString boxesDuring(const std::function<void()> &action)
{
    const auto plain = [](const QAbstractButton *button) {
        return button == nullptr ? text("none") : button->text().remove(QLatin1Char('&'));
    };
    QStringList seen;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &timer, [&] {
        auto *const box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
        if (box == nullptr)
            return;
        QStringList buttons;
        for (const QAbstractButton *const button : box->buttons())
            buttons += plain(button);
        seen += QStringList{box->icon() == QMessageBox::Information ? text("i") : text("?"),
                            box->windowTitle(), box->text(), buttons.join(QLatin1Char(' ')),
                            plain(box->defaultButton())}
                    .join(QLatin1Char('|'));
        box->button(QMessageBox::Yes)->click();
    });
    timer.start(pollMs);
    action();
    return seen.join(QLatin1Char('\n'));
}

/// Instead of the end of the process.
struct Left
{
    int code;
};

/// The exit code with which the action ends the process; -1 when it does not.
int endOf(const std::function<void()> &action)
{
    try {
        action();
    } catch (const Left &left) {
        // A quit is in force until the next event loop of the application begins.
        QMetaObject::invokeMethod(qApp, "quit", Qt::QueuedConnection);
        QApplication::exec();
        return left.code;
    }
    return -1;
}

std::size_t packetsSent()
{
    return sim::Simulator::instance().packets().size();
}

} // namespace

/// In the program's one's place: a window that ends the process where no test expects it
/// must not look like success.
void leaveProcess(int code)
{
    if (testsRun)
        throw Left{code};
    std::fflush(stdout);
    std::_Exit(code);
}

/// The window, met as a person meets it.  There is one for all tests, because its
/// threads never stop.
class WindowTest : public QObject
{
    Q_OBJECT

private:
    DFU_windows *window = nullptr;
    tb210_progress_view *progressView = nullptr;
    QComboBox *languageBox = nullptr;
    myEdit_view *mcuEdit = nullptr;

    /// The one built first where two share a place.
    template <typename Widget>
    Widget *at(const QRect &place) const
    {
        for (Widget *const widget : window->findChildren<Widget *>()) {
            if (widget->geometry() == place)
                return widget;
        }
        qFatal("no such widget");
    }
    QString labelAt(const QRect &place) const { return at<QLabel>(place)->text(); }
    QPushButton *buttonAt(const QRect &place) const { return at<QPushButton>(place); }
    QString percent() const
    {
        for (const QLabel *const label : progressView->findChildren<QLabel *>()) {
            if (label->styleSheet().contains(text("font-size:13px")))
                return label->text();
        }
        return {};
    }
    /// Through the box itself, as a person does.
    void chooseLanguage(int language) const
    {
        QTest::keyClick(languageBox, language == Chinese ? Qt::Key_Up : Qt::Key_Down);
        QCOMPARE(languageBox->currentIndex(), language);
    }

    /// The widgets in it: "class|x,y|size|text|style|hidden".
    void describe(const QWidget *parent, QStringList *lines) const
    {
        for (const auto *const widget :
             parent->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly)) {
            QString shown;
            for (const char *property : {"placeholderText", "currentText", "text"}) {
                if (shown.isEmpty())
                    shown = widget->property(property).toString();
            }
            const QRect place = widget->geometry();
            *lines +=
                QStringLiteral("%1|%2,%3|%4x%5|%6|%7|%8")
                    .arg(text(widget->metaObject()->className()))
                    .arg(place.x())
                    .arg(place.y())
                    .arg(place.width())
                    .arg(place.height())
                    .arg(shown, widget->styleSheet(), text(widget->isHidden() ? "hidden" : ""));
            if (widget == progressView || qobject_cast<const QLabel *>(widget) != nullptr)
                describe(widget, lines);
        }
    }

private slots:
    void initTestCase()
    {
        QApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        QVERIFY(QDir::setCurrent(home.path()));
        // It answers the transfer and never gives a verdict.
        sim::Simulator::instance().configure("silent=entry;verdict=none;enter-time=20");
        const QString image = home.filePath(text("TB210.bin"));
        writeFile(image, imageOfVersion(1, 2, 3));
        window = new DFU_windows(image, 3, nullptr);
        progressView = window->findChild<tb210_progress_view *>();
        languageBox = window->findChild<QComboBox *>();
        mcuEdit = window->findChild<myEdit_view *>();
        window->show();
        QTRY_VERIFY_WITH_TIMEOUT(!progressView->isVisible(), endTimeoutMs);
    }

    void init()
    {
        window->show();       // an outcome has closed it
        progressView->hide(); // a case that failed has left it
        languageBox->setCurrentIndex(English);
        connectedFlag = true;
        buttonAt(mcuButtonPlace)->click();
    }

    void every_widget_has_its_place_text_and_look()
    {
        QStringList seen;
        describe(window, &seen);
        const QStringList expected =
            text("QLabel|20,170|200x30|Connected device|color:black|\n"
                 "QLabel|300,0|80x20|Language:|background-color:transparent;"
                 "color:rgb(158,158,158);text-align:center;font-size:15px;"
                 "font-family:'Source Han Sans CN Medium'|\n"
                 "QComboBox|380,0|100x20|English||\n"
                 "QPushButton|10,60|60x25|Firmware||\n"
                 "myEdit_view|80,60|340x25|Please enter the MCU firmware path||\n"
                 "QLabel|430,60|50x30|V1.2.3||\n"
                 "QPushButton|195,120|110x40|Confirm||\n"
                 "QPushButton|10,70|60x25|DSP固件||hidden\n"
                 "QTextEdit|80,70|340x25|请输入DSP固件路径||hidden\n"
                 "QLabel|430,70|50x30|V0.0.0||hidden\n"
                 "QPushButton|195,120|110x40|确认DSP固件升级||hidden\n"
                 "tb210_progress_view|0,0|500x200|||hidden\n"
                 "QLabel|0,0|500x200|||\n"
                 "QLabel|90,50|320x100|||\n"
                 "QProgressBar|12,42|266x16|100%|QProgressBar {border-radius: 8px;"
                 "background-color:rgb(27,27,27);}QProgressBar::chunk{"
                 "background-color:rgb(255,171,33);}|\n"
                 "QLabel|10,42|270x16|||\n"
                 "QLabel|12,42|266x16|Loading...|color:white;background-color:transparent;"
                 "font-size:15px;font-family:'Source Han Sans CN Medium'|\n"
                 "QLabel|12,42|266x16|100%|color:white;background-color:transparent;"
                 "font-size:13px;font-family:'Source Han Sans CN Medium'|")
                .split(QLatin1Char('\n'));
        for (int i = 0; i < std::min(seen.size(), expected.size()); ++i)
            QCOMPARE(seen.at(i), expected.at(i));
        QCOMPARE(seen.size(), expected.size());
        QVERIFY(window->minimumSize() == QSize(500, 200) &&
                window->maximumSize() == QSize(500, 200));
        QVERIFY(!progressView->bar()->isTextVisible());
        for (const QTextEdit *const edit : window->findChildren<QTextEdit *>()) {
            QCOMPARE(edit->lineWrapMode(), QTextEdit::NoWrap);
            QCOMPARE(edit->horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
            QCOMPARE(edit->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
        }
    }

    void signals_and_slots_have_their_order()
    {
        const auto order = [](const QMetaObject &type) {
            QByteArrayList all;
            for (int i = type.methodOffset(); i < type.methodCount(); ++i) {
                const QMetaMethod method = type.method(i);
                all += (method.methodType() == QMetaMethod::Signal ? "*" : "") +
                       method.methodSignature();
            }
            return all.join(' ');
        };
        QCOMPARE(order(DFU_windows::staticMetaObject),
                 QByteArray("*sendMsgSignals() OnConnectDevice() OnDisConnectDevice() dfu_click() "
                            "update_click() updatedsp_click() dsp_btn_click() progress_value(int) "
                            "sendMessage_fail_hand(int) dsp_kt0206_progress_val(int) "
                            "dsp_kt0206_finish(int) mcudropClick(QString) change_language(int)"));
        QCOMPARE(order(dfu_0206_view::staticMetaObject),
                 QByteArray("*dsp_progress_value(int) *dsp_finish_progress(int) readResult(int) "
                            "onReadData()"));
        QCOMPARE(order(DevOperator::staticMetaObject),
                 QByteArray("*connectDevice() *disconnectDevice() *refresh_main_signal() "
                            "*tb210_refresh_main_signal() *tb210_sysreceive_datasignal() "
                            "*tb210_progress_current_value(int) *tb210_break_fail_mess(int) "
                            "*blockDfuStatus(int) *blockModelCodel() startSendMsg() "
                            "tb210_startSendMsg() tb210_startReceiveMsg() timeOutAction()"));
    }

    void the_language_box_switches_the_texts()
    {
        const std::array<QStringList, 2> expected = {
            text("MCU固件|请输入MCU固件路径|语言切换：|确认|请连接设备|已连接设备")
                .split(QLatin1Char('|')),
            text("Firmware|Please enter the MCU firmware path|Language:|Confirm|"
                 "Please connect the device|Connected device")
                .split(QLatin1Char('|'))};
        const QString colour = at<QLabel>(statePlace)->styleSheet();
        for (const bool connected : {false, true}) {
            connectedFlag = connected;
            for (const int language : {Chinese, English}) {
                const QStringList &texts = expected.at(static_cast<std::size_t>(language));
                chooseLanguage(language);
                QCOMPARE(buttonAt(mcuButtonPlace)->text(), texts.at(0));
                QCOMPARE(mcuEdit->placeholderText(), texts.at(1));
                QCOMPARE(labelAt(languageLabelPlace), texts.at(2));
                QCOMPARE(buttonAt(confirmPlace)->text(), texts.at(3));
                QCOMPARE(labelAt(statePlace), texts.at(connected ? 5 : 4));
                QCOMPARE(at<QLabel>(statePlace)->styleSheet(), colour);
                QCOMPARE(int(englishSelected), language);
                // What is not refreshed.
                QCOMPARE(languageBox->itemText(Chinese), text("简体中文"));
                QCOMPARE(languageBox->itemText(English), text("English"));
            }
        }
    }

    void progress_is_shown_and_reported_data()
    {
        columns<int, int, QString, bool>({"total", "value", "percent", "goesOn"});
        row("cut off, not rounded", packetCount, 3, "42%", true);
        row("all", packetCount, packetCount, "100%", false);
        row("no packets", 0, 0, "0%", false);
    }

    void progress_is_shown_and_reported()
    {
        QFETCH(int, total);
        QFETCH(int, value);
        QFETCH(QString, percent);
        QFETCH(bool, goesOn);
        progressView->show();
        progressView->bar()->setMaximum(total);
        const QByteArray before = result();
        window->progress_value(value);
        QCOMPARE(this->percent(), percent);
        if (total > 0)
            QCOMPARE(progressView->bar()->value(), value);
        QCOMPARE(result(), before + percent.toLatin1() + '\n');
        QCOMPARE(progressView->isVisible(), goesOn);
        progressView->hide();
    }

    void the_bar_shows_all_of_its_value()
    {
        constexpr int total = 1000;
        constexpr int value = 420;
        const QProgressBar *const bar = progressView->bar();
        progressView->show();
        progressView->bar()->setMaximum(total);
        for (int i = 0; i <= value; ++i) {
            window->progress_value(i);
            QApplication::processEvents();
        }
        const QImage shown = window->screen()->grabWindow(window->winId()).toImage();
        const auto isFilled = [&](int x) {
            return shown.pixelColor(bar->mapTo(window, QPoint(x, 1))) == QColor(255, 171, 33);
        };
        const int end = bar->width() * value / total;
        QVERIFY(isFilled(1) && isFilled(end - 2) && !isFilled(end + 2));
        progressView->hide();
    }

    void a_dropped_file_is_only_inspected_data()
    {
        columns<QStringList, QString, QString, int, QString>(
            {"urls", "edit", "version", "language", "boxes"});
        const auto made = [](const char *name, const QByteArray &image) {
            QString path = home.filePath(text(name));
            writeFile(path, image);
            return path;
        };
        const QString other = made("other.bin", imageOfVersion(4, 5, 6));
        const QString damaged = made("damaged.bin", imageOfVersion(7, 8, 9) + "too much");
        const QString empty = made("empty.bin", "");
        const QString header = made("header.bin", recordOf(11));
        const QString two = made("two packets.bin", recordOf(11) + recordOf(64));
        const QString missing = home.filePath(text("missing.bin"));
        const QString box = text("i|Title|打开错误+") + noSuchFile() + text("|Yes No|Yes");
        row("damaged file", QStringList{damaged}, damaged, "V1.2.3", English, "");
        row("empty file", QStringList{empty}, empty, "V1.2.3", English, "");
        row("header only", QStringList{header}, header, "V0.0.0", English, "");
        row("two packets", QStringList{two}, two, "V0.0.0", English, "");
        row("one file", QStringList{other}, other, "V4.5.6", English, "");
        row("two files", QStringList{other, missing}, other, "V4.5.6", English, "");
        row("plain text", QStringList{}, text("a word"), "V1.2.3", English, "");
        row("no such file", QStringList{missing}, missing, "V1.2.3", English, box);
        row("no such file, Chinese", QStringList{missing}, missing, "V1.2.3", Chinese, box);
    }

    void a_dropped_file_is_only_inspected()
    {
        QFETCH(QStringList, urls);
        QFETCH(int, language);
        languageBox->setCurrentIndex(language);
        QMimeData data;
        QList<QUrl> list;
        for (const QString &path : urls)
            list += QUrl::fromLocalFile(path);
        if (list.isEmpty())
            data.setText(text("a word"));
        else
            data.setUrls(list);
        mcuEdit->clear();
        QSignalSpy told(mcuEdit, &myEdit_view::drop_block);

        const QString boxes = boxesDuring([&] {
            const QPoint place = mcuEdit->viewport()->rect().center();
            QDragEnterEvent enter(place, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            qApp->notify(mcuEdit->viewport(), &enter);
            QDropEvent drop(place, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
            qApp->notify(mcuEdit->viewport(), &drop);
        });
        QTEST(boxes, "boxes");
        QCOMPARE(told.size(), urls.isEmpty() ? 0 : 1);
        QTEST(mcuEdit->toPlainText(), "edit");
        QTEST(labelAt(mcuVersionPlace), "version");
        QCOMPARE(versionText, labelAt(mcuVersionPlace));

        // The upgrade goes by the command line all the same.
        QTest::mouseClick(buttonAt(mcuButtonPlace), Qt::LeftButton);
        QCOMPARE(mcuEdit->toPlainText(), home.filePath(text("TB210.bin")));
        QCOMPARE(labelAt(mcuVersionPlace), text("V1.2.3"));
    }

    void confirm_arms_the_transfer_again()
    {
        const QByteArray before = result();
        const std::size_t sentBefore = packetsSent();
        mcuEdit->setPlainText(home.filePath(text("other.bin")));
        QTest::mouseClick(buttonAt(confirmPlace), Qt::LeftButton);
        QCOMPARE(mcuEdit->toPlainText(), home.filePath(text("TB210.bin")));
        QVERIFY(progressView->isVisible());
        QCOMPARE(progressView->bar()->maximum(), packetCount);
        QCOMPARE(progressView->bar()->value(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!progressView->isVisible(), endTimeoutMs);
        QCOMPARE(packetsSent(), sentBefore + packetCount);
        QCOMPARE(result(), before + "0%\n0%\n0%\n42%\n42%\n42%\n42%\n57%\n71%\n85%\n100%\n");
    }

    void an_image_that_cannot_be_sent_ends_the_process_data()
    {
        columns<QByteArray>({"image"});
        row("empty", QByteArray());
        row("damaged", imageOfVersion(1, 2, 3).chopped(1));
        row("header only", recordOf(11));
        row("two packets", recordOf(11) + recordOf(64));
    }

    void an_image_that_cannot_be_sent_ends_the_process()
    {
        QFETCH(QByteArray, image);
        const QString file = home.filePath(text("TB210.bin"));
        const QByteArray before = result();
        const std::size_t sentBefore = packetsSent();
        writeFile(file, image);
        QCOMPARE(endOf([this] { window->update_click(); }), 0);
        writeFile(file, imageOfVersion(1, 2, 3));
        QVERIFY(!progressView->isVisible());
        QCOMPARE(packetsSent(), sentBefore);
        QCOMPARE(result(), before);
    }

    void an_outcome_is_shown_and_ends_the_process_data()
    {
        columns<int, int, QString>({"language", "status", "box"});
        row("failure", English, 1, "i|Tips|Upgrade failed|Yes No|none");
        row("failure, Chinese", Chinese, 1, "i|提示|升级失败|Yes No|none");
        row("success", English, 2, "i|Tips|Upgrade Successful|Yes|none");
        row("success, Chinese", Chinese, 2, "i|提示|升级成功|Yes|none");
    }

    void an_outcome_is_shown_and_ends_the_process()
    {
        QFETCH(int, language);
        QFETCH(int, status);
        languageBox->setCurrentIndex(language);
        const QByteArray before = result();
        int code = -1;
        progressView->show();
        const QString boxes =
            boxesDuring([&] { code = endOf([&] { window->sendMessage_fail_hand(status); }); });
        QTEST(boxes, "box");
        QCOMPARE(code, 0);
        QVERIFY(progressView->isHidden());
        QCOMPARE(result(), before + (status == 1 ? "success -1" : "success 1"));
    }

    void an_unknown_status_is_shown()
    {
        const QByteArray before = result();
        progressView->show();
        QCOMPARE(boxesDuring([this] { window->sendMessage_fail_hand(7); }),
                 text("i|Tips|7|Yes|none"));
        QVERIFY(!progressView->isVisible());
        languageBox->setCurrentIndex(Chinese);
        QCOMPARE(boxesDuring([this] { window->sendMessage_fail_hand(-1); }),
                 text("i|提示|-1|Yes|none"));
        QCOMPARE(result(), before);
    }

    void a_dsp_file_that_cannot_be_used_starts_nothing_data()
    {
        columns<QString, int, QString, QString>({"path", "language", "version", "boxes"});
        row("none", "", English, "as it was", "");
        row("missing", "missing_V1.0.bin", English, "V1.0",
            text("i|Title|Open Error") + noSuchFile() + text("|Yes No|Yes"));
        row("missing, of a short name", "a.bin", English, "a.bi",
            text("i|Title|Open Error") + noSuchFile() + text("|Yes No|Yes"));
        row("missing, Chinese, as a URL", "file:///missing_V2.1.bin", Chinese, "V2.1",
            text("i|Title|打开错误") + noSuchFile() + text("|Yes No|Yes"));
    }

    void a_dsp_file_that_cannot_be_used_starts_nothing()
    {
        QFETCH(QString, path);
        QFETCH(int, language);
        languageBox->setCurrentIndex(language);
        at<QLabel>(dspVersionPlace)->setText(text("as it was"));
        at<QTextEdit>(dspEditPlace)->setPlainText(path);
        QTEST(boxesDuring([&] { window->updatedsp_click(); }), "boxes");
        QTEST(labelAt(dspVersionPlace), "version");
        QVERIFY(!progressView->isVisible());

        // From here on progress is the DSP's: without a total it is 0, and unreported.
        const QByteArray before = result();
        progressView->bar()->setMaximum(packetCount);
        window->progress_value(3);
        QCOMPARE(percent(), text("0%"));
        QCOMPARE(result(), before);
        buttonAt(mcuButtonPlace)->click();
        window->progress_value(3);
        QCOMPARE(result(), before + "42%\n");
    }

    void a_dsp_run_is_followed_data()
    {
        // The total of a run stays for the runs behind it, so the order matters.
        columns<QString, int, QString, QString, QString>(
            {"record", "language", "expectedBar", "percent", "boxes"});
        const char *const failed = "i|Tips|DSP 升级失败|Yes|none";
        const char *const succeeded = "i|Tips|DSP 升级成功,请重新连接设备|Yes|none";
        row("total 0", "x3/0xx", English, "3/0", "0%", failed);
        row("total 10", "x6/10xx", Chinese, "6/10", "60%", "i|提示|DSP 升级失败|Yes|none");
        row("far more than all", "x2000000000/1xx", English, "0/1", "2147483647%", failed);
        row("total 20", "x7/20xx", Chinese, "7/20", "35%",
            "i|提示|DSP 升级成功,请重新连接设备|Yes|none");
        row("total 30", "x1/30xx", English, "1/30", "3%", succeeded);
        row("no progress, so still 30", "nothing", English, "0/30", "0%", succeeded);
        row("a total that no int holds", "x1/3000000000xx", English, "1/0", "0%", failed);
    }

    void a_dsp_run_is_followed()
    {
        QFETCH(QString, record);
        QFETCH(int, language);
        QFETCH(QString, expectedBar);
        QFETCH(QString, percent);
        languageBox->setCurrentIndex(language);
        const QString file = home.filePath(text("dsp_V1.0.bin"));
        const QString go = FakeTool::beside("go");
        writeFile(file, "firmware");
        QFile::remove(go);
        // It ends when it is told to.
        const QByteArray said = record.toLatin1() + "\\r";
        QVERIFY(
            FakeTool::install("arguments arguments.txt\nprint " + said + said + "\\r\nawait go\n"));
        at<QTextEdit>(dspEditPlace)->setPlainText(file);
        QProgressBar *const bar = progressView->bar();
        bar->setValue(1);
        const QByteArray before = result();

        window->updatedsp_click();
        QVERIFY(progressView->isVisible());
        QCOMPARE(this->percent(), text("0%"));
        QCOMPARE(bar->value(), 0);
        const auto shown = [&] {
            return QStringLiteral("%1/%2").arg(bar->value()).arg(bar->maximum());
        };
        QTRY_COMPARE_WITH_TIMEOUT(shown(), expectedBar, endTimeoutMs);
        QTRY_COMPARE_WITH_TIMEOUT(this->percent(), percent, endTimeoutMs);
        const QString boxes = boxesDuring([&] {
            writeFile(go, "");
            QTRY_VERIFY_WITH_TIMEOUT(!progressView->isVisible(), endTimeoutMs);
        });
        QTEST(boxes, "boxes");
        QCOMPARE(contentOf(FakeTool::beside("arguments.txt")),
                 "0x3C9E\nb\n-s\n-b\n" + file.toUtf8() + '\n');
        QCOMPARE(result(), before);
        FakeTool::remove();
    }

    void the_dsp_file_is_chosen_in_a_dialog_data()
    {
        // The dialog remembers where it was, so the row without a setting goes first.
        columns<QString, QString, bool>({"setting", "folder", "chosen"});
        const QString sub = home.filePath(text("sub"));
        row("no settings file", "", home.path(), true);
        row("a folder", "[General]\nLastFilePath=sub\n", sub, true);
        row("given up", "[General]\nLastFilePath=sub\n", sub, false);
        row("a missing folder", "[General]\nLastFilePath=./nowhere/here\n", "", true);
    }

    void the_dsp_file_is_chosen_in_a_dialog()
    {
        QFETCH(QString, setting);
        QFETCH(QString, folder);
        QFETCH(bool, chosen);
        const QString settingsFile = home.filePath(text("Setting.ini"));
        const QString file = home.filePath(text("sub/chosen.bin"));
        QVERIFY(home.mkpath(text("sub")));
        writeFile(file, "firmware");
        QFile::remove(settingsFile);
        if (!setting.isEmpty())
            writeFile(settingsFile, setting.toLatin1());
        at<QTextEdit>(dspEditPlace)->setPlainText(text("before"));

        QString seen;
        QTimer timer;
        connect(&timer, &QTimer::timeout, this, [&] {
            auto *const dialog = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            if (dialog == nullptr)
                return;
            seen = dialog->windowTitle() + QLatin1Char('|') +
                   dialog->nameFilters().join(QLatin1Char(' '));
            if (!folder.isEmpty())
                seen += QLatin1Char('|') + dialog->directory().path();
            dialog->findChild<QLineEdit *>()->setText(file);
            QMetaObject::invokeMethod(dialog, chosen ? "accept" : "reject");
        });
        timer.start(pollMs);
        buttonAt(dspButtonPlace)->click();
        QCOMPARE(seen, text("选择升级文件|Document files (*.bin)") +
                           (folder.isEmpty() ? folder : QLatin1Char('|') + folder));
        QCOMPARE(at<QTextEdit>(dspEditPlace)->toPlainText(), chosen ? file : text("before"));
        QCOMPARE(contentOf(settingsFile), setting.toLatin1()); // only read
    }

    void unplugging_is_shown()
    {
        const auto state = [this] {
            return labelAt(statePlace) + QLatin1Char('|') + at<QLabel>(statePlace)->styleSheet();
        };
        QCOMPARE(state(), text("Connected device|color:black"));
        sim::Simulator::instance().unplug();
        QTRY_COMPARE_WITH_TIMEOUT(state(), text("Please connect the device|color:red"),
                                  endTimeoutMs);
        QVERIFY(connectedFlag && linkReadyFlag); // they stay as they are
        connectedFlag = false;
        linkReadyFlag = false;
        sim::Simulator::instance().plug();
        QTRY_COMPARE_WITH_TIMEOUT(state(), text("Connected device|color:black"), endTimeoutMs);
        QVERIFY(connectedFlag && linkReadyFlag);
    }
};

int main(int argc, char *argv[])
{
    QTemporaryDir ownHome;
    home.setPath(ownHome.path());
    qputenv("XDG_DATA_HOME", home.path().toLocal8Bit());
    // Never destroyed, as in the program itself: the window's threads do not stop.
    [[maybe_unused]] auto *const application = new QApplication(argc, argv);
    WindowTest test;
    testsRun = true;
    const int code = QTest::qExec(&test, argc, argv);
    testsRun = false;
    ownHome.remove();
    endProcess(code);
}

#include "tst_window.moc"
