#include "download/Downloader.h"

#include "download/InternetTransfer.h"
#include "model/Error.h"
#include "model/IO.h"

#include <QElapsedTimer>
#include <QTime>
#include <QTimer>

#include <limits>

namespace {

const QString SrcGetFile = QStringLiteral("Downloader::GetFile()");

// Enough body held unread to keep a fast connection busy between slices;
// beyond it the connection waits for us.
constexpr qint64 StreamBufferSize = 512 * 1024;
// The longest run of chunks between two turns of the event loop.
constexpr qint64 SliceMs = 8;

double SecondsSinceMidnight()
{
    return QTime::currentTime().msecsSinceStartOfDay() / 1000.0;
}

bool IsPlainFileName(const QString& name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..")
        && !name.contains(QLatin1Char('/')) && !name.contains(QChar(0));
}

} // namespace

Downloader::Downloader(QObject* parent)
    : QObject(parent)
    , m_clock(SecondsSinceMidnight)
{
}

Downloader::~Downloader()
{
    if (m_active && m_transfer && m_transfer->StillExecuting())
        m_transfer->Cancel();
}

void Downloader::Initialize(InternetTransfer* transfer)
{
    if (m_transfer)
        disconnect(m_transfer, nullptr, this, nullptr);
    m_transfer = transfer;
    if (transfer)
        connect(transfer, &InternetTransfer::StateChanged, this, &Downloader::OnStateChanged);
}

QString Downloader::TargetFile() const
{
    return CombinePath(m_targetPath, m_fileName);
}

void Downloader::Cancel()
{
    m_cancel = true;
    // The transfer may be waiting for bytes that never come; the next chunk
    // boundary is then now.
    if (m_active)
        SchedulePump();
}

void Downloader::GetFile(const QString& url, const QString& targetPath, const QString& fileName)
{
    if (!m_transfer)
        Error::Raise(ErrorNumber::InvalidCall, SrcGetFile, QStringLiteral("No transfer object"));
    if (m_active)
        Error::Raise(ErrorNumber::InvalidCall, SrcGetFile, QStringLiteral("A download is under way"));
    const QString name = fileName.isEmpty() ? url.mid(url.lastIndexOf(QLatin1Char('/')) + 1) : fileName;
    if (!IsPlainFileName(name))
        Error::Raise(ErrorNumber::InvalidCall, SrcGetFile, QStringLiteral("Invalid file name: %1").arg(name));

    m_targetPath = targetPath;
    m_fileName = name;
    m_cancel = false;
    m_fileSize = 0;
    m_downloaded = 0;
    m_responseBegun = false;
    m_statusCode = 0;
    m_contentLength = -1;
    m_bytesWritten = 0;
    m_stoppedByCancel = false;
    m_failed = false;
    m_failureDescription.clear();

    m_transfer->SetReadBufferSize(StreamBufferSize);
    m_transfer->SetMaximumBodySize(std::numeric_limits<qint32>::max());
    try {
        m_transfer->Execute(url, QStringLiteral("GET"));
    } catch (...) {
        Error::Rethrow(SrcGetFile);
    }
    ++m_generation;
    m_active = true;
    Q_EMIT DownloadStarted();
}

bool Downloader::IsWhole() const
{
    return !m_active && m_responseBegun && !m_failed && !m_stoppedByCancel && m_statusCode == 200
        && m_contentLength >= 0 && m_bytesWritten == m_contentLength;
}

void Downloader::SetClock(std::function<double()> secondsSinceMidnight)
{
    m_clock = secondsSinceMidnight ? std::move(secondsSinceMidnight) : SecondsSinceMidnight;
}

void Downloader::OnStateChanged(int state)
{
    if (!m_active)
        return;
    switch (state) {
    case InternetTransfer::icError:
        Fail(QStringLiteral("Error (0x%1) %2")
                 .arg(QString::number(m_transfer->ResponseCode(), 16).toUpper(), m_transfer->ResponseInfo()));
        break;
    case InternetTransfer::icResponseReceived:
    case InternetTransfer::icReceivingResponse:
    case InternetTransfer::icResponseCompleted:
        if (!m_responseBegun && !BeginResponse())
            return;
        Pump();
        break;
    default:
        break;
    }
}

bool Downloader::BeginResponse()
{
    m_responseBegun = true;
    m_statusCode = m_transfer->ResponseCode();
    bool isNumber = false;
    const qint64 length = m_transfer->GetHeader(QStringLiteral("content-length")).trimmed().toLongLong(&isNumber);
    m_contentLength = isNumber && length >= 0 ? length : -1;
    m_fileSize = m_contentLength >= 0 && m_contentLength <= std::numeric_limits<qint32>::max()
        ? qint32(m_contentLength)
        : 0;

    m_file.setFileName(TargetFile());
    // Read-write leaves an existing file's bytes in place, as the owner expects.
    if (!m_file.open(QIODevice::ReadWrite)) {
        Fail(QStringLiteral("Cannot write %1: %2").arg(TargetFile(), m_file.errorString()));
        return false;
    }
    return true;
}

void Downloader::SchedulePump()
{
    if (m_pumpScheduled)
        return;
    m_pumpScheduled = true;
    QTimer::singleShot(0, this, [this] {
        m_pumpScheduled = false;
        Pump();
    });
}

void Downloader::Pump()
{
    if (!m_active || m_pumping)
        return;
    m_pumping = true;
    const quint64 generation = m_generation;
    QPointer<Downloader> self(this);
    QElapsedTimer slice;
    slice.start();
    for (;;) {
        if (m_cancel) {
            m_stoppedByCancel = true;
            m_pumping = false;
            Finish();
            return;
        }
        // Before the headers nothing is to be read; Cancel comes here early.
        if (!m_responseBegun)
            break;
        const bool moreToCome = m_transfer && m_transfer->StillExecuting();
        // While more is coming only whole chunks are taken, so a body is cut
        // into the same chunks however the network hands it over.
        if (moreToCome && m_transfer->BytesAvailable() < ChunkSize)
            break; // the next state 7 brings more
        const QByteArray chunk = m_transfer ? m_transfer->GetChunk(ChunkSize) : QByteArray();
        if (chunk.isEmpty()) {
            if (!moreToCome) {
                m_pumping = false;
                Finish();
                return;
            }
            break;
        }
        if (m_file.write(chunk) != chunk.size()) {
            m_pumping = false;
            Fail(QStringLiteral("Cannot write %1: %2").arg(TargetFile(), m_file.errorString()));
            return;
        }
        m_bytesWritten += chunk.size();
        Account(qint32(chunk.size()));
        Q_EMIT ChunkDownloaded();
        if (!self || m_generation != generation || !m_active)
            return;
        if (slice.elapsed() >= SliceMs) {
            SchedulePump();
            break;
        }
    }
    m_pumping = false;
}

void Downloader::Account(qint32 bytes)
{
    m_downloaded = qint32(qMin<qint64>(qint64(m_downloaded) + bytes, m_fileSize));
    const double now = m_clock();
    if (m_windowStart == 0)
        m_windowStart = now;
    // Single precision on purpose: the window closes on the same ticks as the
    // meter it replaces, midnight included.
    if (float(m_windowStart + 1.0) <= float(now)) {
        // This chunk only closes the window; it is counted in neither.
        m_transferRate = m_bytesInWindow;
        m_bytesInWindow = 0;
        m_windowStart = 0;
    } else {
        m_bytesInWindow = qint32(qMin<qint64>(qint64(m_bytesInWindow) + bytes, std::numeric_limits<qint32>::max()));
    }
}

void Downloader::Fail(const QString& description)
{
    if (!m_failed) {
        m_failed = true;
        m_failureDescription = description;
    }
    if (m_transfer && m_transfer->StillExecuting())
        m_transfer->Cancel();
    const quint64 generation = m_generation;
    QPointer<Downloader> self(this);
    m_file.close();
    Q_EMIT DownloadFailed(m_failureDescription);
    if (!self || m_generation != generation)
        return;
    Finish();
}

void Downloader::Finish()
{
    if (!m_active)
        return;
    if (m_file.isOpen()) {
        if (!m_file.flush() && !m_failed) {
            Fail(QStringLiteral("Cannot write %1: %2").arg(TargetFile(), m_file.errorString()));
            return;
        }
        m_file.close();
    }
    if (m_transfer && m_transfer->StillExecuting())
        m_transfer->Cancel();
    m_active = false;
    Q_EMIT DownloadComplete();
}
