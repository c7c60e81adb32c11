#pragma once

#include <QLabel>

// A line of live numbers. Where there is no room for all of them it ends in an ellipsis: a number
// that was merely cut off would look like another number. Gives way to its caption.
class ValueLabel : public QLabel
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(ValueLabel)

public:
    explicit ValueLabel(QWidget *parent = nullptr);
    ~ValueLabel() override;

    QSize minimumSizeHint() const override;
    // What is to be seen: the text, or as much of it as fits.
    QString shownText() const;

protected:
    void paintEvent(QPaintEvent *event) override;
};
