#include "shell/frmAbout.h"

#include "shell/Common.h"
#include "shell/Registry.h"
#include "shell/Resources.h"

#include <QDate>
#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QVBoxLayout>
#include <QVersionNumber>

namespace {

const QString SysInfoKey = QStringLiteral("SOFTWARE\\Microsoft\\Shared Tools\\MSINFO");
const QString SysInfoValue = QStringLiteral("PATH");
const QString SysInfoLocationKey = QStringLiteral("SOFTWARE\\Microsoft\\Shared Tools Location");
const QString SysInfoLocationValue = QStringLiteral("MSINFO");
const QString SysInfoProgram = QStringLiteral("MSINFO32.EXE");

// The access mask of the lookup: read rights plus the right to change
// values and subkeys.
constexpr quint32 SysInfoAccess = 0x2003F;
// The lookup's buffer; a longer value is not found.
constexpr qsizetype ValueBufferBytes = 1024;

// The logo's size on screen in device-independent pixels: the picture is
// drawn 480 x 120 and shown a little smaller, crisp on dense screens through
// its @2x twin.
constexpr QSize LogoSize(400, 100);

// Hexadecimal digits read the way an "&h" literal is: up to 0xFFFF a signed
// 16-bit number, above that a signed 32-bit one.
QString HexLiteralText(const QString& digits)
{
    bool ok = false;
    const quint64 value = digits.isEmpty() ? 0 : digits.toULongLong(&ok, 16);
    if (value <= 0xFFFF)
        return QString::number(qint16(quint16(value)));
    return QString::number(qint32(quint32(value)));
}

} // namespace

frmAbout::frmAbout(QWidget* parent)
    : QDialog(parent)
{
    InitResources();
    setWindowTitle(QStringLiteral("About ") + ApplicationTitle());

    m_picLogo = new QLabel(this);
    m_picLogo->setObjectName(QStringLiteral("picLogo"));
    const QIcon logo = LoadIcon(QStringLiteral(":/Logo"));
    const QPixmap picture = logo.pixmap(LogoSize, devicePixelRatioF());
    if (!picture.isNull()) {
        m_picLogo->setPixmap(picture);
    } else {
        // Without the picture the product's name stands in its place.
        QFont font = m_picLogo->font();
        font.setPointSizeF(font.pointSizeF() * 2);
        font.setBold(true);
        m_picLogo->setFont(font);
        m_picLogo->setText(ApplicationTitle());
    }

    const QVersionNumber version = QVersionNumber::fromString(QStringLiteral(PRACTORIUM_VERSION));
    m_lblVersion = new QLabel(
        FormatText(QStringLiteral("Version: {1}.{2} Build: {3}"),
            { version.majorVersion(), version.minorVersion(), version.microVersion() }),
        this);
    m_lblVersion->setObjectName(QStringLiteral("lblVersion"));
    m_lblVersion->setTextInteractionFlags(Qt::TextSelectableByMouse);

    m_lblNotice = new QLabel(FormatText(QStringLiteral("A practice exam simulator for self-study.{CRLF}"
                                                       "Copyright \u00A9 {1} the Practorium developers."),
                                 { QDate::currentDate().year() }),
        this);
    m_lblNotice->setObjectName(QStringLiteral("lblNotice"));
    m_lblNotice->setWordWrap(true);
    m_lblNotice->setAlignment(Qt::AlignHCenter);

    auto* rule = new QFrame(this);
    rule->setFrameShape(QFrame::HLine);
    rule->setFrameShadow(QFrame::Sunken);

    m_cmdSysInfo = new QPushButton(QStringLiteral("&System Info..."), this);
    m_cmdSysInfo->setObjectName(QStringLiteral("cmdSysInfo"));
    // Enter always means OK, even while this button has the focus.
    m_cmdSysInfo->setAutoDefault(false);
    m_cmdOK = new QPushButton(QStringLiteral("OK"), this);
    m_cmdOK->setObjectName(QStringLiteral("cmdOK"));
    m_cmdOK->setDefault(true);
    connect(m_cmdOK, &QPushButton::clicked, this, &frmAbout::cmdOK_Click);
    connect(m_cmdSysInfo, &QPushButton::clicked, this, &frmAbout::cmdSysInfo_Click);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_cmdSysInfo);
    buttons->addWidget(m_cmdOK);

    // The layout keeps the logo centred across the box, which is what
    // CenterHorizontally does for a freely placed picture.
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_picLogo, 0, Qt::AlignHCenter);
    layout->addSpacing(fontMetrics().height() / 2);
    layout->addWidget(m_lblVersion, 0, Qt::AlignHCenter);
    layout->addWidget(m_lblNotice);
    layout->addSpacing(fontMetrics().height() / 2);
    layout->addWidget(rule);
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    m_cmdOK->setFocus();
}

void frmAbout::cmdOK_Click()
{
    accept();
}

void frmAbout::cmdSysInfo_Click()
{
    StartSysInfo();
}

void frmAbout::StartSysInfo()
{
    QString program;
    if (GetKeyValue(Registry::HKEY_LOCAL_MACHINE, SysInfoKey, SysInfoValue, program)) {
        // the named program
    } else if (GetKeyValue(Registry::HKEY_LOCAL_MACHINE, SysInfoLocationKey, SysInfoLocationValue, program)
        && QFileInfo::exists(program + QLatin1Char('/') + SysInfoProgram)) {
        program += QLatin1Char('/') + SysInfoProgram;
    } else {
        // Linux desktops have no registered tool; take a common one.
        program = QStandardPaths::findExecutable(QStringLiteral("hardinfo"));
        if (program.isEmpty())
            program = QStandardPaths::findExecutable(QStringLiteral("gnome-system-monitor"));
    }
    if (program.isEmpty() || !QProcess::startDetached(program, {}))
        ShowMessage(QStringLiteral("System Information Is Unavailable At This Time"), 0);
}

bool frmAbout::GetKeyValue(quint32 hive, const QString& subkey, const QString& valueName, QString& valueText)
{
    valueText.clear();
    Registry::Key key;
    if (Registry::OpenKey(hive, subkey, SysInfoAccess, key) != 0)
        return false;
    qint32 valueType = Registry::REG_NONE;
    QByteArray data;
    if (Registry::QueryValue(key, valueName, valueType, data, ValueBufferBytes) != 0) {
        Registry::CloseKey(key);
        return false;
    }
    if (data.endsWith('\0'))
        data.chop(1);
    if (valueType == Registry::REG_SZ) {
        valueText = QString::fromUtf8(data);
    } else if (valueType == Registry::REG_DWORD) {
        // Most significant byte first, each without its leading zero, as the
        // lookup has always joined them (so 0x0102 reads as 0x12).
        QString digits;
        for (qsizetype i = data.size() - 1; i >= 0; --i)
            digits += QString::number(quint8(data[i]), 16).toUpper();
        valueText = HexLiteralText(digits);
    }
    Registry::CloseKey(key);
    return true;
}
