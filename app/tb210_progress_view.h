#pragma once

#include <QWidget>

class QLabel;
class QProgressBar;

/// The overlay that covers the whole window while an upgrade runs: neither the mouse
/// nor the keyboard reaches what is below. Its pictures are not part of the updater's
/// resources, so their labels are empty.
class tb210_progress_view : public QWidget
{
    Q_OBJECT

public:
    /// The view gets the size that `parent` has now.
    explicit tb210_progress_view(QWidget *parent);

    QProgressBar *bar() const { return progressBar; }
    /// Shows the number followed by "%".
    void setPercent(int percent);

protected:
    void showEvent(QShowEvent *event) override;
    /// Keeps the keyboard's focus as long as the view is shown.
    bool focusNextPrevChild(bool next) override;

private:
    QProgressBar *progressBar;
    QLabel *percentLabel;
};
