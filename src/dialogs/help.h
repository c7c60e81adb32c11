#pragma once

#include <memory>

#include <QDialog>

class Ui_HelpDialog;

// The user guide: one rich text that scrolls inside the dialog.
class HelpDialog : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(HelpDialog)

public:
    explicit HelpDialog(QWidget *parent);
    ~HelpDialog() override;

    void setupHelpContent();

protected:
    void changeEvent(QEvent *event) override;

private:
    void applyTitleStyle();

    std::unique_ptr<Ui_HelpDialog> m_ui;
};
