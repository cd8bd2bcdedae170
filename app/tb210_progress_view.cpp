#include "app/tb210_progress_view.h"

#include <QLabel>
#include <QPixmap>
#include <QProgressBar>

namespace {

constexpr QSize panelSize(320, 100);
constexpr QRect loadingPlace(12, 14, 266, 20);
constexpr QRect barPlace(12, 44, 266, 16);
constexpr QRect picturePlace(10, 44, 270, 16);
constexpr QRect percentPlace(12, 68, 266, 20);
constexpr int barEnd = 100;

QLabel *pictureLabel(QWidget *parent, const QRect &place, const QString &picture)
{
    auto *const label = new QLabel(parent);
    label->setGeometry(place);
    label->setPixmap(QPixmap(picture));
    return label;
}

QLabel *textLabel(QWidget *parent, const QRect &place, const QString &fontSize)
{
    auto *const label = new QLabel(parent);
    label->setGeometry(place);
    label->setStyleSheet(QStringLiteral("color:white;background-color:transparent;font-size:%1;"
                                        "font-family:'Source Han Sans CN Medium'")
                             .arg(fontSize));
    return label;
}

} // namespace

tb210_progress_view::tb210_progress_view(QWidget *parent)
    : QWidget(parent)
{
    setGeometry(parent->rect());
    pictureLabel(this, rect(), QStringLiteral(":/image/images/tb210_setting_bgimg.png"));
    const QRect panelPlace(
        QPoint((width() - panelSize.width()) / 2, (height() - panelSize.height()) / 2), panelSize);
    QLabel *const panel =
        pictureLabel(this, panelPlace, QStringLiteral(":/image/images/tb210_progress_bgimg.png"));

    QLabel *const loading = textLabel(panel, loadingPlace, QStringLiteral("15px"));
    loading->setText(QStringLiteral("Loading..."));

    progressBar = new QProgressBar(panel);
    progressBar->setGeometry(barPlace);
    progressBar->setRange(0, barEnd);
    progressBar->setTextVisible(false);
    progressBar->setStyleSheet(
        QStringLiteral("QProgressBar {border-radius: 8px;background-color:rgb(27,27,27);}"
                       "QProgressBar::chunk{background-color:rgb(255,171,33);}"));

    pictureLabel(panel, picturePlace, QStringLiteral(":/image/images/tb210_progress_image.png"));
    percentLabel = textLabel(panel, percentPlace, QStringLiteral("13px"));
    hide();
}

void tb210_progress_view::setPercent(int percent)
{
    percentLabel->setText(QString::number(percent) + QLatin1Char('%'));
}
