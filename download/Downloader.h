#pragma once

#include <QFile>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>

class InternetTransfer;

// Fetches one file over HTTP into a folder through a transfer object it is
// handed, 1024 bytes at a time, keeping a byte count and a bytes-per-second
// figure, and tells its owner when the transfer starts, after every chunk and
// when it ends.
//
// The body is written while it arrives, in slices of at most a few
// milliseconds between which the event loop runs, so the window stays live
// and at most the transfer's read buffer of the body is held in memory.
//
// Every GetFile that returns ends in exactly one DownloadComplete: after the
// whole body, after Cancel, and after a failure, which DownloadFailed reports
// first. A file that is written is left as it is in every case; whether it is
// the whole file is the owner's question, answered by IsWhole or by
// StatusCode, ContentLength and BytesWritten.
class Downloader : public QObject
{
    Q_OBJECT

public:
    static constexpr int ChunkSize = 1024;

    explicit Downloader(QObject* parent = nullptr);
    ~Downloader() override;

    // Keeps the transfer object (not owned) whose states this instance then
    // handles. Each GetFile sets the transfer up for streaming: a bounded read
    // buffer, and a body limit of what the 32-bit counters can count.
    void Initialize(InternetTransfer* transfer);

    QString TargetPath() const { return m_targetPath; }
    QString FileName() const { return m_fileName; }
    QString TargetFile() const;
    // The size announced in "content-length"; 0 when it is missing or does
    // not fit in 32 bits.
    qint32 FileSize() const { return m_fileSize; }
    // Bytes received so far, never more than FileSize.
    qint32 Downloaded() const { return m_downloaded; }
    // Bytes received during the last measuring window of at least a second.
    qint32 TransferRate() const { return m_transferRate; }

    // The transfer stops at the next chunk; DownloadComplete follows.
    void Cancel();
    // Starts a download of `url` into TargetPath/FileName (FileName from the
    // URL's last "/" when empty) and raises DownloadStarted. An existing file
    // is written over from its start, not truncated: delete it first. Raises
    // error 5 from "Downloader::GetFile()" without starting anything when no
    // transfer object was given, a download is under way, or the file name is
    // not a plain name (empty, ".", "..", containing "/" or NUL); errors of the
    // transfer object's Execute are raised again from there.
    void GetFile(const QString& url, const QString& targetPath, const QString& fileName = {});

    // Between DownloadStarted and DownloadComplete.
    bool Busy() const { return m_active; }
    // What the owner needs to judge the last download. StatusCode is the HTTP
    // status (0 when no response came), ContentLength the announced length
    // (-1 when none was announced or it is not a number), BytesWritten the
    // bytes handed to the file.
    int StatusCode() const { return m_statusCode; }
    qint64 ContentLength() const { return m_contentLength; }
    qint64 BytesWritten() const { return m_bytesWritten; }
    // Whether the last download was stopped by Cancel or failed; the
    // description says why it failed.
    bool Cancelled() const { return m_stoppedByCancel; }
    bool Failed() const { return m_failed; }
    QString FailureDescription() const { return m_failureDescription; }
    // The last download ended with HTTP 200, neither failed nor cancelled, and
    // the bytes written equal the announced length.
    bool IsWhole() const;

    // The clock of the rate meter, in seconds since local midnight. Tests
    // replace it to step through measuring windows without waiting.
    void SetClock(std::function<double()> secondsSinceMidnight);

Q_SIGNALS:
    void DownloadStarted();
    void ChunkDownloaded();
    void DownloadComplete();
    // The transport or the file failed; DownloadComplete follows at once.
    void DownloadFailed(const QString& description);

private:
    void OnStateChanged(int state);
    bool BeginResponse();
    void Pump();
    void SchedulePump();
    void Account(qint32 bytes);
    // Records the failure, stops the transfer and ends the download.
    void Fail(const QString& description);
    void Finish();

    QPointer<InternetTransfer> m_transfer;
    QString m_targetPath;
    QString m_fileName;
    qint32 m_transferRate = 0;
    qint32 m_fileSize = 0;
    qint32 m_downloaded = 0;
    bool m_cancel = false;
    double m_windowStart = 0;
    qint32 m_bytesInWindow = 0;

    std::function<double()> m_clock;
    QFile m_file;
    bool m_active = false;
    bool m_responseBegun = false;
    bool m_pumping = false;
    bool m_pumpScheduled = false;
    quint64 m_generation = 0;
    int m_statusCode = 0;
    qint64 m_contentLength = -1;
    qint64 m_bytesWritten = 0;
    bool m_stoppedByCancel = false;
    bool m_failed = false;
    QString m_failureDescription;
};
