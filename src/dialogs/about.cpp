#include "dialogs/about.h"

#include <QCoreApplication>
#include <QDate>
#include <QEvent>
#include <QLayout>

#include "dialogs/manufacturer.h"
#include "ui_about.h"

using namespace Qt::StringLiterals;

namespace {

// Wide enough for a contact line. The text wrapped at this width sets the minimum height.
constexpr int kLeastWidth = 420;

QString link(const QString &target, const QString &shown)
{
    return u"<a href=\"%1\">%2</a>"_s.arg(target, shown);
}

QString versionShown()
{
    const QString version = QCoreApplication::applicationVersion();
    return version.isEmpty() ? u"1.0"_s : version;
}

} // namespace

AboutDialog::AboutDialog(QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui_AboutDialog>())
{
    m_ui->setupUi(this);
    retranslateUiTexts();
}

AboutDialog::~AboutDialog() = default;

void AboutDialog::retranslateUiTexts()
{
    setWindowTitle(tr("About"));
    m_ui->labelTitle->setText(tr("Kestrova"));
    //: %1 is the current year.
    m_ui->labelCopyright->setText(
        tr("© %1 Kestrova. All rights reserved.").arg(QDate::currentDate().year()));
    m_ui->labelVersion->setText(tr("Version %1").arg(versionShown()));
    m_ui->labelCompany->setText(tr(manufacturer::kNameAndTagline));
    retranslateContactTexts();
    setMinimumSize(kLeastWidth, layout()->totalHeightForWidth(kLeastWidth));
}

void AboutDialog::retranslateContactTexts()
{
    const auto text = [](const char *utf8) { return QString::fromUtf8(utf8); };
    const QString website = text(manufacturer::kWebsite);
    const QString email = text(manufacturer::kEmail);
    const QString phone = text(manufacturer::kPhone);

    //: %1 is a link that shows the address of the website.
    m_ui->labelWebsite->setText(
        tr("Website: %1").arg(link(website, text(manufacturer::kWebsiteShown))));
    //: %1 is a link that shows an e-mail address.
    m_ui->labelEmail->setText(tr("E-mail: %1").arg(link(u"mailto:"_s + email, email)));
    //: %1 is a link that shows a telephone number.
    m_ui->labelPhone->setText(tr("Telephone: %1").arg(link(u"tel:"_s + phone, phone)));
    //: %1, %2 and %3 are postal addresses.
    m_ui->labelAddress->setText(tr("Addresses:\n"
                                   "Headquarters: %1\n"
                                   "EU branch: %2\n"
                                   "Technology park office: %3")
                                    .arg(text(manufacturer::kHeadquarters),
                                         text(manufacturer::kEuBranch),
                                         text(manufacturer::kTechnologyPark)));
}

void AboutDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        m_ui->retranslateUi(this);
        retranslateUiTexts();
    }
    QDialog::changeEvent(event);
}
