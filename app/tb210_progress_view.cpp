#include "app/tb210_progress_view.h"

#include <QFile>
#include <QGraphicsDropShadowEffect>
#include <QLabel>
#include <QPixmap>
#include <QProgressBar>

namespace {

constexpr QSize panelSize(320, 100);
constexpr QRect barPlace(12, 42, 266, 16);
constexpr QRect picturePlace(10, 42, 270, 16);
constexpr int textIndent = 8;
constexpr QPointF shadowOffset(1, 1);

QLabel *pictureLabel(QWidget *parent, const QRect &place, const QString &picture)
{
    auto *const label = new QLabel(parent);
    label->setGeometry(place);
    // Without this question the toolkit loads all its picture plugins to find out that there is
    // no such picture.
    if (QFile::exists(picture))
        label->setPixmap(QPixmap(picture));
    return label;
}

/// A white text on the bar, which is the only dark place without the pictures. Its shadow
/// makes it readable on orange.
///
/// The label must be as wide as the bar. When its text changes, the bar repaints only what
/// the label covers, but takes itself for fully painted: its ends would be out of date.
QLabel *textLabel(QWidget *parent, const QString &fontSize)
{
    auto *const label = new QLabel(parent);
    label->setGeometry(barPlace);
    label->setIndent(textIndent);
    auto *const shadow = new QGraphicsDropShadowEffect(label);
    shadow->setOffset(shadowOffset);
    shadow->setColor(Qt::black);
    label->setGraphicsEffect(shadow);
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

    progressBar = new QProgressBar(panel);
    progressBar->setGeometry(barPlace);
    progressBar->setTextVisible(false);
    progressBar->setStyleSheet(
        QStringLiteral("QProgressBar {border-radius: 8px;background-color:rgb(27,27,27);}"
                       "QProgressBar::chunk{background-color:rgb(255,171,33);}"));

    pictureLabel(panel, picturePlace, QStringLiteral(":/image/images/tb210_progress_image.png"));
    QLabel *const loading = textLabel(panel, QStringLiteral("15px"));
    loading->setText(QStringLiteral("Loading..."));
    percentLabel = textLabel(panel, QStringLiteral("13px"));
    percentLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    hide();
}

void tb210_progress_view::setPercent(int percent)
{
    percentLabel->setText(QString::number(percent) + QLatin1Char('%'));
}

void tb210_progress_view::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    setFocus();
}

bool tb210_progress_view::focusNextPrevChild(bool next)
{
    // When the view is hidden, the focus may go to other widgets again.
    return isVisible() || QWidget::focusNextPrevChild(next);
}
