#pragma once

#include "download/ServiceProtocol.h"

#include <QDialog>

#include <memory>

class Downloader;
class InternetTransfer;
class PackInstaller;
class QCheckBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QTemporaryDir;
class QTimer;

// The download window: the candidate logs on to the download service, the
// exams bought are downloaded and installed one after the other, and the
// service is told what was installed. Opened modally by the owner, which
// refreshes its catalogue afterwards.
//
// A downloaded pack is run only when it is whole and is a pack: HTTP 200, as
// many bytes as "content-length" announced, and a pack signed for its exam ID
// by a trusted key (PackInstaller). Anything else, and any exam ID that is
// not a plain file name, is a failed installation; nothing is run and nothing
// is written outside the window's own folder in the temporary folder. A pack
// runs while the window stays live; Cancel ends it.
class frmExamDownloader : public QDialog
{
    Q_OBJECT

public:
    // Units of the progress bar's full width (twips of its designed width).
    static constexpr int ProgressFullWidth = 4800;

    explicit frmExamDownloader(QWidget* owner = nullptr);
    ~frmExamDownloader() override;

    // The status line and the three size labels; total > 0 also moves the bar.
    void UpdateStatus(const QString& text, double total, double downloaded, double rate);
    // Sets the bar to `fraction` of its full width (above 100 counts as 100),
    // leaving it alone when that differs from the shown width by less than 10
    // units, so small steps do not flicker.
    void SetProgress(float fraction);
    // Stops timers and transfers; the button becomes "&Close". A successful
    // run starts the one-second auto-close.
    void EndRun(bool success);
    // Handles the exam at the front of the queue: refuses an unusable exam
    // ID, asks before overwriting an installed exam, else starts its download.
    void DownloadNext();

    // The timers' ticks; the timers only call these, so tests call them
    // directly instead of waiting.
    void tmrAutoClose_Timer();
    void tmrProgressSimulator_Timer();

    // The service address: the "Endpoint" value of the store key, else the
    // vendor's address.
    static QString Endpoint();

protected:
    void done(int result) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Open();
    void cmdAction_Click();
    void lblRemember_Click();
    void icRequestDispatcher_StateChanged(int state);
    void m_oDownloader_DownloadStarted();
    void m_oDownloader_ChunkDownloaded();
    void m_oDownloader_DownloadComplete();

    // Carries out the protocol's steps in order.
    void Apply(const ServiceProtocol::Decision& decision);
    void SendRequest(const QString& packedMessage);
    void HandleReply();
    // Starts installing the downloaded pack of `examID`; the run goes on in
    // m_installer_Finished.
    void InstallPack(const QString& examID);
    void m_installer_Finished(bool installed);
    void RememberCredentials();
    void ForgetCredentials();
    // The window's own folder inside the temporary folder, made on first use;
    // empty when it cannot be made.
    QString DownloadFolder();

    QLineEdit* m_txtEmail = nullptr;
    QLineEdit* m_txtPassword = nullptr;
    QCheckBox* m_chkRemember = nullptr;
    QLabel* m_lblRemember = nullptr;
    QPushButton* m_cmdAction = nullptr;
    QLabel* m_lblInfo = nullptr;
    QLabel* m_lblTotal = nullptr;
    QLabel* m_lblDownloaded = nullptr;
    QLabel* m_lblRate = nullptr;
    QProgressBar* m_picProgress = nullptr;
    QTimer* m_tmrProgressSimulator = nullptr;
    QTimer* m_tmrAutoClose = nullptr;
    InternetTransfer* m_icRequestDispatcher = nullptr;
    InternetTransfer* m_icDownloader = nullptr;
    Downloader* m_oDownloader = nullptr;
    PackInstaller* m_installer = nullptr;

    ServiceProtocol m_protocol;
    int m_fullWidth = ProgressFullWidth;
    // The simulated progress of message requests; kept across requests.
    float m_simulatedProgress = 0;
    // Between Start and EndRun. Events that arrive after a run ended (a
    // download completing after a cancel) are ignored.
    bool m_running = false;
    // The exam whose pack is being downloaded; empty when none is.
    QString m_downloadingExamID;
    // The exam whose pack is being installed; empty when none is.
    QString m_installingExamID;
    std::unique_ptr<QTemporaryDir> m_downloadFolder;
};
