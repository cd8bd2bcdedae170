#pragma once

#include <QTextEdit>

/// A text edit that sends a signal when a file is dropped on it. It inserts the text of the
/// drop like any other text edit.
class myEdit_view : public QTextEdit
{
    Q_OBJECT

public:
    explicit myEdit_view(QWidget *parent)
        : QTextEdit(parent)
    {
    }

signals:
    /// Local path of the first URL of a drop; further ones are ignored.
    void drop_block(const QString &path);

protected:
    void dropEvent(QDropEvent *event) override;
};
