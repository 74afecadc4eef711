#include "download/frmExamDownloader.h"

#include "download/Downloader.h"
#include "download/InternetTransfer.h"
#include "download/PackInstaller.h"
#include "download/RememberedPassword.h"
#include "model/Ansi.h"
#include "model/Common.h"
#include "model/Error.h"
#include "model/IO.h"
#include "shell/Common.h"
#include "shell/Globals.h"
#include "shell/MessageSeam.h"
#include "shell/Registry.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QEvent>
#include <QFile>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QVBoxLayout>

#include <utility>

namespace {

const QString CourierKey = QStringLiteral("Software\\Practorum\\PackCourier");
const QString UserIdValue = QStringLiteral("User ID");
const QString PasswordValue = QStringLiteral("Password");
// Which pass phrase enciphered "Password": "Keyring", or absent for the
// machine phrase (also every password remembered before the keyring was used).
const QString PhraseValue = QStringLiteral("Password Phrase");
const QString KeyringPhrase = QStringLiteral("Keyring");
const QString EndpointValue = QStringLiteral("Endpoint");
const QString DefaultEndpoint = QStringLiteral("https://downloads.practorium.example/PackCourier.asp");

const QString StartCaption = QStringLiteral("&Start");
const QString CancelCaption = QStringLiteral("&Cancel");
const QString CloseCaption = QStringLiteral("&Close");
const QString NotAvailable = QStringLiteral("NA");
const QString InstallFailed = QStringLiteral("Installation of {1} failed. Click OK to continue.");

// A value of the store key, or an empty variant when the key or value is
// missing or has another type.
QVariant ReadCourierValue(const QString& name, qint32 wantedType)
{
    try {
        qint32 type = Registry::REG_NONE;
        const QVariant value = Registry::ReadValue(Registry::HKEY_CURRENT_USER, CourierKey, name, &type);
        if (type == wantedType)
            return value;
    } catch (...) {
        // A missing key is the usual case before anything was remembered.
    }
    return QVariant();
}

void DeleteCourierValue(const QString& name)
{
    try {
        Registry::DeleteValue(CourierKey, name);
    } catch (...) {
        // Missing already.
    }
}

QLabel* SizeLabel(const QString& name, QWidget* parent)
{
    auto* label = new QLabel(NotAvailable, parent);
    label->setObjectName(name);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

frmExamDownloader::frmExamDownloader(QWidget* owner)
    : QDialog(owner)
{
    setWindowTitle(QStringLiteral("Download Exams"));
    setObjectName(QStringLiteral("frmExamDownloader"));

    auto* lblIntro = new QLabel(
        QStringLiteral("Enter the User ID and password of your Practorium account to download and install the "
                       "exams you have bought."),
        this);
    lblIntro->setWordWrap(true);

    m_txtEmail = new QLineEdit(this);
    m_txtEmail->setObjectName(QStringLiteral("txtEmail"));
    m_txtEmail->setPlaceholderText(QStringLiteral("name@example.com"));
    m_txtPassword = new QLineEdit(this);
    m_txtPassword->setObjectName(QStringLiteral("txtPassword"));
    m_txtPassword->setEchoMode(QLineEdit::Password);
    m_chkRemember = new QCheckBox(this);
    m_chkRemember->setObjectName(QStringLiteral("chkRemember"));
    m_chkRemember->setAccessibleName(QStringLiteral("Remember"));
    m_chkRemember->setAccessibleDescription(QStringLiteral("Keeps the User ID and password for the next time"));
    m_lblRemember = new QLabel(QStringLiteral("Remember"), this);
    m_lblRemember->setObjectName(QStringLiteral("lblRemember"));
    m_lblRemember->installEventFilter(this);

    auto* remember = new QHBoxLayout;
    remember->addWidget(m_chkRemember);
    remember->addWidget(m_lblRemember);
    remember->addStretch();

    auto* account = new QGroupBox(QStringLiteral("Account"), this);
    auto* form = new QFormLayout(account);
    auto* lblEmail = new QLabel(QStringLiteral("&User ID:"), account);
    lblEmail->setBuddy(m_txtEmail);
    auto* lblPassword = new QLabel(QStringLiteral("&Password:"), account);
    lblPassword->setBuddy(m_txtPassword);
    form->addRow(lblEmail, m_txtEmail);
    form->addRow(lblPassword, m_txtPassword);
    form->addRow(QString(), remember);

    m_lblInfo = new QLabel(this);
    m_lblInfo->setObjectName(QStringLiteral("lblInfo"));
    m_lblInfo->setMinimumHeight(fontMetrics().height());
    m_picProgress = new QProgressBar(this);
    m_picProgress->setObjectName(QStringLiteral("picProgress"));
    m_picProgress->setTextVisible(false);
    // Its value changes reach assistive technology as the bar moves.
    m_picProgress->setAccessibleName(QStringLiteral("Download progress"));
    m_lblTotal = SizeLabel(QStringLiteral("lblTotal"), this);
    m_lblDownloaded = SizeLabel(QStringLiteral("lblDownloaded"), this);
    m_lblRate = SizeLabel(QStringLiteral("lblRate"), this);

    m_lblInfo->setAccessibleDescription(QStringLiteral("Status"));
    m_lblTotal->setAccessibleDescription(QStringLiteral("Size"));
    m_lblDownloaded->setAccessibleDescription(QStringLiteral("Received"));
    m_lblRate->setAccessibleDescription(QStringLiteral("Rate"));

    auto* progress = new QGroupBox(QStringLiteral("Progress"), this);
    auto* figures = new QGridLayout;
    figures->addWidget(new QLabel(QStringLiteral("Size:"), progress), 0, 0);
    figures->addWidget(m_lblTotal, 0, 1);
    figures->addWidget(new QLabel(QStringLiteral("Received:"), progress), 0, 2);
    figures->addWidget(m_lblDownloaded, 0, 3);
    figures->addWidget(new QLabel(QStringLiteral("Rate:"), progress), 0, 4);
    figures->addWidget(m_lblRate, 0, 5);
    figures->setHorizontalSpacing(fontMetrics().averageCharWidth());
    figures->setColumnStretch(1, 1);
    figures->setColumnStretch(3, 1);
    figures->setColumnStretch(5, 1);
    auto* progressLayout = new QVBoxLayout(progress);
    progressLayout->addWidget(m_lblInfo);
    progressLayout->addWidget(m_picProgress);
    progressLayout->addLayout(figures);

    m_cmdAction = new QPushButton(StartCaption, this);
    m_cmdAction->setObjectName(QStringLiteral("cmdAction"));
    m_cmdAction->setDefault(true);
    connect(m_cmdAction, &QPushButton::clicked, this, &frmExamDownloader::cmdAction_Click);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_cmdAction);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblIntro);
    layout->addWidget(account);
    layout->addWidget(progress);
    layout->addLayout(buttons);
    setMinimumWidth(fontMetrics().averageCharWidth() * 72);

    setTabOrder(m_txtEmail, m_txtPassword);
    setTabOrder(m_txtPassword, m_chkRemember);
    setTabOrder(m_chkRemember, m_cmdAction);

    m_tmrProgressSimulator = new QTimer(this);
    m_tmrProgressSimulator->setObjectName(QStringLiteral("tmrProgressSimulator"));
    m_tmrProgressSimulator->setInterval(100);
    connect(m_tmrProgressSimulator, &QTimer::timeout, this, &frmExamDownloader::tmrProgressSimulator_Timer);
    m_tmrAutoClose = new QTimer(this);
    m_tmrAutoClose->setObjectName(QStringLiteral("tmrAutoClose"));
    m_tmrAutoClose->setInterval(1000);
    m_tmrAutoClose->setSingleShot(true);
    connect(m_tmrAutoClose, &QTimer::timeout, this, &frmExamDownloader::tmrAutoClose_Timer);

    m_icRequestDispatcher = new InternetTransfer(this);
    m_icRequestDispatcher->setObjectName(QStringLiteral("icRequestDispatcher"));
    // A reply is a few hundred characters; a larger one is refused by the
    // transfer before it is held, and reported as unreadable.
    m_icRequestDispatcher->SetMaximumBodySize(ServiceProtocol::MaxReplyLength);
    connect(m_icRequestDispatcher, &InternetTransfer::StateChanged, this,
        &frmExamDownloader::icRequestDispatcher_StateChanged);
    m_icDownloader = new InternetTransfer(this);
    m_icDownloader->setObjectName(QStringLiteral("icDownloader"));
    m_installer = new PackInstaller(this);
    m_installer->setObjectName(QStringLiteral("installer"));
    connect(m_installer, &PackInstaller::Finished, this, &frmExamDownloader::m_installer_Finished);

    Open();
}

frmExamDownloader::~frmExamDownloader() = default;

void frmExamDownloader::Open()
{
    m_fullWidth = ProgressFullWidth;
    m_picProgress->setRange(0, m_fullWidth);
    m_picProgress->setValue(0);
    m_tmrAutoClose->stop();
    m_lblInfo->clear();
    m_lblTotal->setText(NotAvailable);
    m_lblDownloaded->setText(NotAvailable);
    m_lblRate->setText(NotAvailable);
    m_cmdAction->setText(StartCaption);

    m_oDownloader = new Downloader(this);
    m_oDownloader->Initialize(m_icDownloader);
    connect(m_oDownloader, &Downloader::DownloadStarted, this, &frmExamDownloader::m_oDownloader_DownloadStarted);
    connect(m_oDownloader, &Downloader::ChunkDownloaded, this, &frmExamDownloader::m_oDownloader_ChunkDownloaded);
    // Queued: installing runs the pack and waits, which is better done after
    // the downloader and its transfer have finished their own handling.
    connect(m_oDownloader, &Downloader::DownloadComplete, this, &frmExamDownloader::m_oDownloader_DownloadComplete,
        Qt::QueuedConnection);

    m_txtEmail->setText(ReadCourierValue(UserIdValue, Registry::REG_SZ).toString());
    if (!m_txtEmail->text().isEmpty()) {
        try {
            const QByteArray cipher = ReadCourierValue(PasswordValue, Registry::REG_BINARY).toByteArray();
            const bool keyring = ReadCourierValue(PhraseValue, Registry::REG_SZ).toString() == KeyringPhrase;
            m_txtPassword->setText(RememberedPassword::Decipher(cipher,
                keyring ? RememberedPassword::Phrase::Keyring : RememberedPassword::Phrase::Machine)
                                       .value_or(QString()));
        } catch (...) {
            // A password that cannot be read back is simply not filled in.
        }
        m_chkRemember->setChecked(true);
    }
    m_txtEmail->setFocus();
}

void frmExamDownloader::cmdAction_Click()
{
    if (m_cmdAction->text() != StartCaption) {
        EndRun(false);
        close();
        return;
    }
    const QString userId = TrimBlanks(m_txtEmail->text());
    if (userId.isEmpty()) {
        ShowMessage(QStringLiteral("Please enter your User ID."), 48);
        m_txtEmail->setFocus();
        return;
    }
    const QString password = TrimBlanks(m_txtPassword->text());
    if (password.isEmpty()) {
        ShowMessage(QStringLiteral("Please enter your password."), 48);
        m_txtPassword->setFocus();
        return;
    }
    if (m_chkRemember->isChecked())
        RememberCredentials();

    // The caption changes before the first request goes out, so a request
    // that fails at once leaves the button at "&Close", not "&Cancel".
    m_cmdAction->setText(CancelCaption);
    m_running = true;
    Apply(m_protocol.Start(userId, password));
}

void frmExamDownloader::lblRemember_Click()
{
    m_chkRemember->setChecked(!m_chkRemember->isChecked());
}

bool frmExamDownloader::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_lblRemember && event->type() == QEvent::MouseButtonRelease)
        lblRemember_Click();
    return QDialog::eventFilter(watched, event);
}

void frmExamDownloader::done(int result)
{
    EndRun(false);
    if (!m_chkRemember->isChecked())
        ForgetCredentials();
    QDialog::done(result);
}

void frmExamDownloader::EndRun(bool success)
{
    m_running = false;
    m_downloadingExamID.clear();
    m_installingExamID.clear();
    m_installer->Cancel();
    m_tmrProgressSimulator->stop();
    if (m_icRequestDispatcher->StillExecuting())
        m_icRequestDispatcher->Cancel();
    if (m_icDownloader->StillExecuting())
        m_icDownloader->Cancel();
    m_oDownloader->Cancel();
    m_cmdAction->setText(CloseCaption);
    m_cmdAction->setEnabled(true);
    if (success)
        m_tmrAutoClose->start();
    else
        m_tmrAutoClose->stop();
}

void frmExamDownloader::tmrAutoClose_Timer()
{
    m_tmrAutoClose->stop();
    close();
}

void frmExamDownloader::tmrProgressSimulator_Timer()
{
    m_simulatedProgress += 0.001f;
    if (m_simulatedProgress > 1.0f)
        m_simulatedProgress = 0.5f;
    SetProgress(m_simulatedProgress);
}

void frmExamDownloader::SetProgress(float fraction)
{
    if (fraction > 100)
        fraction = 100;
    const int width = qRound(m_fullWidth * fraction);
    // The bar cannot show more than full or less than nothing.
    const int shown = qBound(0, width, m_fullWidth);
    if (qAbs(shown - m_picProgress->value()) >= 10)
        m_picProgress->setValue(shown);
}

void frmExamDownloader::UpdateStatus(const QString& text, double total, double downloaded, double rate)
{
    if (text != m_lblInfo->text())
        m_lblInfo->setText(text);
    if (total < 1) {
        if (m_lblTotal->text() != NotAvailable)
            m_lblTotal->setText(NotAvailable);
    } else {
        m_lblTotal->setText(FormatSize(total, 2));
    }
    if (downloaded < 1)
        m_lblDownloaded->setText(NotAvailable);
    else
        m_lblDownloaded->setText(FormatSize(downloaded, downloaded >= 999.0 * 1024 ? 2 : 0));
    if (rate < 1)
        m_lblRate->setText(NotAvailable);
    else
        m_lblRate->setText(FormatText(QStringLiteral("{1}/s"), { FormatSize(rate, rate < 100 ? 1 : 0) }));
    if (total > 0)
        SetProgress(static_cast<float>(downloaded / total));
}

void frmExamDownloader::Apply(const ServiceProtocol::Decision& decision)
{
    using Kind = ServiceProtocol::Step::Kind;
    for (const ServiceProtocol::Step& step : decision) {
        switch (step.Action) {
        case Kind::ShowStatus:
            UpdateStatus(step.Text, 0, 0, 0);
            break;
        case Kind::ShowError:
            ShowMessage(step.Text, step.Style, step.Values);
            break;
        case Kind::EndRun:
            EndRun(step.Success);
            break;
        case Kind::AllowRetry:
            m_cmdAction->setText(StartCaption);
            m_txtEmail->setFocus();
            break;
        case Kind::CloseWindow:
            close();
            break;
        case Kind::Send:
            SendRequest(step.Text);
            break;
        case Kind::DownloadNext:
            DownloadNext();
            break;
        }
    }
}

void frmExamDownloader::SendRequest(const QString& packedMessage)
{
    // One request at a time: wait, with the window live, for the last one.
    while (m_running && m_icRequestDispatcher->StillExecuting())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (!m_running)
        return;
    try {
        m_icRequestDispatcher->Execute(Endpoint(), QStringLiteral("POST"), Ansi::FromUnicode(packedMessage),
            ServiceProtocol::RequestHeaders());
    } catch (...) {
        Apply(m_protocol.RequestFailed(Error::Current().Description()));
    }
}

void frmExamDownloader::icRequestDispatcher_StateChanged(int state)
{
    switch (state) {
    case InternetTransfer::icRequesting:
        m_tmrProgressSimulator->start();
        break;
    case InternetTransfer::icError:
        if (!m_running)
            return;
        if (m_icRequestDispatcher->ResponseCode() == InternetTransfer::BodyTooLargeError)
            Apply(m_protocol.ReplyUnreadable());
        else
            Apply(m_protocol.TransportFailed(m_icRequestDispatcher->ResponseCode(), m_icRequestDispatcher->ResponseInfo()));
        break;
    case InternetTransfer::icResponseCompleted:
        HandleReply();
        break;
    default:
        break;
    }
}

void frmExamDownloader::HandleReply()
{
    ServiceProtocol::Decision decision;
    try {
        QString body;
        for (;;) {
            const QString chunk = m_icRequestDispatcher->GetChunkText(ServiceProtocol::ReplyChunkSize);
            if (chunk.isEmpty())
                break;
            body += chunk;
            // The protocol refuses anything longer; reading on would only
            // hold more of it.
            if (body.size() > ServiceProtocol::MaxReplyLength)
                break;
        }
        decision = m_protocol.ReplyReceived(body);
    } catch (...) {
        decision = m_protocol.ReplyUnreadable();
    }
    // This request is over before the reply is acted on: the next request
    // that acting on it sends starts the simulator again for its own wait.
    SetProgress(1.0f);
    m_tmrProgressSimulator->stop();
    if (m_running)
        Apply(decision);
}

void frmExamDownloader::DownloadNext()
{
    // A loop rather than recursion: a list of many refused or declined exams
    // must not deepen the stack.
    for (;;) {
        if (!m_running || m_protocol.Queue().isEmpty())
            return;
        const QString examID = m_protocol.CurrentExamID();
        ServiceProtocol::Decision next;
        if (!ServiceProtocol::IsPlainFileName(examID)) {
            ShowMessage(InstallFailed, 16, { examID });
            next = m_protocol.ExamHandled(false);
        } else if (IsExamInstalled(examID)
            && ShowMessage(QStringLiteral("Exam {1} is already installed on this computer. Do you want to overwrite "
                                          "the existing exam?"),
                   36, { examID })
                == MessageSeam::No) {
            next = m_protocol.ExamDeclined();
        } else {
            const QString folder = DownloadFolder();
            const QString fileName = examID + QStringLiteral(".exe");
            const QString target = CombinePath(folder, fileName);
            try {
                if (folder.isEmpty())
                    Error::Raise(ErrorNumber::InvalidCall, QString(), QStringLiteral("No temporary folder"));
                if (QFile::exists(target) && !QFile::remove(target))
                    Error::Raise(ErrorNumber::InvalidCall, QString(), QStringLiteral("Cannot replace ") + target);
                m_downloadingExamID = examID;
                m_oDownloader->GetFile(m_protocol.DownloadAddress(Endpoint()), folder, fileName);
                return;
            } catch (...) {
                m_downloadingExamID.clear();
                ShowMessage(InstallFailed, 16, { examID });
                next = m_protocol.ExamHandled(false);
            }
        }
        if (!m_running)
            return;
        if (next.size() == 1 && next.first().Action == ServiceProtocol::Step::Kind::DownloadNext)
            continue;
        Apply(next);
        return;
    }
}

void frmExamDownloader::m_oDownloader_DownloadStarted()
{
    UpdateStatus(QStringLiteral("Downloading: ") + m_oDownloader->FileName(), 0, 0, 0);
}

void frmExamDownloader::m_oDownloader_ChunkDownloaded()
{
    UpdateStatus(m_lblInfo->text(), m_oDownloader->FileSize(), m_oDownloader->Downloaded(),
        m_oDownloader->TransferRate());
}

void frmExamDownloader::m_oDownloader_DownloadComplete()
{
    // After a cancel the run is over and the partial file is never run.
    if (!m_running || m_downloadingExamID.isEmpty())
        return;
    const QString examID = m_downloadingExamID;
    m_downloadingExamID.clear();
    InstallPack(examID);
}

void frmExamDownloader::InstallPack(const QString& examID)
{
    UpdateStatus(FormatText(QStringLiteral("Installing: {1}"), { examID }), 0, 0, 0);
    const QString file = m_oDownloader->TargetFile();
    const bool whole = m_oDownloader->IsWhole();
    if (whole && m_installer->Start(file, examID)) {
        m_installingExamID = examID;
        return;
    }
    // Refused: nothing of it ran, and it is not kept.
    qWarning("Practorium: the pack of %s was not run: %s", qUtf8Printable(examID),
        qUtf8Printable(whole ? m_installer->Reason() : QStringLiteral("the transfer was not whole")));
    QFile::remove(file);
    ShowMessage(InstallFailed, 16, { examID });
    if (m_running)
        Apply(m_protocol.ExamHandled(false));
}

void frmExamDownloader::m_installer_Finished(bool installed)
{
    if (!m_running || m_installingExamID.isEmpty())
        return;
    const QString examID = std::exchange(m_installingExamID, QString());
    const QString file = m_oDownloader->TargetFile();
    if (installed && !QFile::remove(file))
        installed = false;
    if (!installed) {
        qWarning("Practorium: the pack of %s failed: %s", qUtf8Printable(examID), qUtf8Printable(m_installer->Reason()));
        ShowMessage(InstallFailed, 16, { examID });
    }
    if (m_running)
        Apply(m_protocol.ExamHandled(installed));
}

void frmExamDownloader::RememberCredentials()
{
    // Failing to remember is no reason to stop the download.
    try {
        Registry::WriteValue(CourierKey, UserIdValue, m_txtEmail->text(), Registry::REG_SZ);
    } catch (...) {
    }
    try {
        const RememberedPassword::Enciphered password = RememberedPassword::Encipher(m_txtPassword->text());
        Registry::WriteValue(CourierKey, PasswordValue, password.Cipher, Registry::REG_BINARY);
        if (password.Source == RememberedPassword::Phrase::Keyring)
            Registry::WriteValue(CourierKey, PhraseValue, KeyringPhrase, Registry::REG_SZ);
        else
            DeleteCourierValue(PhraseValue);
    } catch (...) {
    }
}

void frmExamDownloader::ForgetCredentials()
{
    for (const QString& name : { UserIdValue, PasswordValue, PhraseValue })
        DeleteCourierValue(name);
}

QString frmExamDownloader::DownloadFolder()
{
    // A folder of our own (mode 0700) rather than the shared temporary folder
    // itself, where another user could have planted "<exam ID>.exe" as a
    // link to somewhere else before we write and run it.
    if (!m_downloadFolder) {
        auto folder = std::make_unique<QTemporaryDir>(CombinePath(GetTempFolder(), QStringLiteral("practorium-XXXXXX")));
        if (!folder->isValid())
            return QString();
        m_downloadFolder = std::move(folder);
    }
    return m_downloadFolder->path();
}

QString frmExamDownloader::Endpoint()
{
    const QString endpoint = TrimBlanks(ReadCourierValue(EndpointValue, Registry::REG_SZ).toString());
    return endpoint.isEmpty() ? DefaultEndpoint : endpoint;
}
