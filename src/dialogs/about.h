#pragma once

#include <memory>

#include <QDialog>

class Ui_AboutDialog;

// The product, its version and its maker; links are handed to the desktop. Closed by the window's
// own control or Escape.
class AboutDialog : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(AboutDialog)

public:
    explicit AboutDialog(QWidget *parent);
    ~AboutDialog() override;

    void retranslateUiTexts();

protected:
    void changeEvent(QEvent *event) override;

private:
    void retranslateContactTexts();

    std::unique_ptr<Ui_AboutDialog> m_ui;
};
