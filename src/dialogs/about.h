#pragma once

#include <memory>

#include <QDialog>

class Ui_AboutDialog;

// Shows the product, its version and its maker. The desktop opens the links. The close control of
// the window or Escape closes it.
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
