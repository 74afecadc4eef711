#include "download/ServiceProtocol.h"

#include "download/Message.h"
#include "model/Common.h"

#include <QLocale>

namespace {

using Step = ServiceProtocol::Step;
using Kind = ServiceProtocol::Step::Kind;

Step Status(const QString& text)
{
    return Step { Kind::ShowStatus, text, 0, {}, false };
}

Step ErrorBox(const QString& messageTemplate, const QVariantList& values = {})
{
    return Step { Kind::ShowError, messageTemplate, ServiceProtocol::ErrorStyle, values, false };
}

Step EndRun(bool success)
{
    return Step { Kind::EndRun, {}, 0, {}, success };
}

Step Plain(Kind kind)
{
    return Step { kind, {}, 0, {}, false };
}

Step Send(MESSAGE& message)
{
    message.Pack();
    return Step { Kind::Send, message.Text(), 0, {}, false };
}

// A parameter the reply lacks reads as empty, as if it had been sent so.
QString ValueOf(const MESSAGE& message, const QString& name)
{
    const Parameters& parameters = message.Parameters();
    if (parameters.GetIndex(name) > parameters.Count())
        return QString();
    return parameters.Item(name).value();
}

} // namespace

ServiceProtocol::Decision ServiceProtocol::Start(const QString& userId, const QString& password)
{
    m_sessionID.clear();
    m_queue.clear();
    m_installed.clear();

    MESSAGE login;
    login.SetCommand(QStringLiteral("LOGIN"));
    login.Parameters().Add(QStringLiteral("email"), TrimBlanks(userId));
    login.Parameters().Add(QStringLiteral("pwd"), TrimBlanks(password));
    return { Status(QStringLiteral("Connecting to Practorium Download Server")), Send(login) };
}

ServiceProtocol::Decision ServiceProtocol::RequestFailed(const QString& description)
{
    return { ErrorBox(description), EndRun(false) };
}

ServiceProtocol::Decision ServiceProtocol::TransportFailed(int responseCode, const QString& responseInfo)
{
    const QString hexCode = QString::number(static_cast<quint32>(responseCode), 16).toUpper();
    return { ErrorBox(QStringLiteral("Error (0x{1}) {2}{CRLF}Unable to perform this operation. Make sure you are "
                                     "connected to Internet."),
                 { hexCode, responseInfo }),
        EndRun(false) };
}

ServiceProtocol::Decision ServiceProtocol::ReplyReceived(const QString& body)
{
    if (body.isEmpty())
        return {};
    try {
        if (body.size() > MaxReplyLength)
            Error::Raise(MESSAGE::InvalidMessage, QString(), QStringLiteral("Invalid message"));
        return Dispatch(body);
    } catch (...) {
        return ReplyUnreadable();
    }
}

ServiceProtocol::Decision ServiceProtocol::ReplyUnreadable() const
{
    return { EndRun(false), Status(QStringLiteral("Error communicating to server")),
        ErrorBox(QStringLiteral("Cannot continue because there seems to be a problem with your internet "
                                "connection or Practorium's PackCourier Service. If the problem persists, "
                                "please contact Practorium support.")) };
}

ServiceProtocol::Decision ServiceProtocol::Dispatch(const QString& body)
{
    MESSAGE reply;
    reply.UnPack(body);
    const QString& command = reply.Command();

    if (command == QLatin1String("LOGIN")) {
        if (ValueOf(reply, QStringLiteral("status")) != QLatin1String("OK")) {
            return { ErrorBox(QStringLiteral("Cannot continue because the User ID or password is incorrect")),
                EndRun(false), Plain(Kind::AllowRetry), Status(QStringLiteral("Authentication failed!")) };
        }
        m_sessionID = ValueOf(reply, QStringLiteral("sid"));
        MESSAGE list;
        list.SetCommand(QStringLiteral("LIST"));
        list.Parameters().Add(QStringLiteral("sid"), m_sessionID);
        return { Status(QStringLiteral("Checking for available downloads")), Send(list) };
    }

    if (command == QLatin1String("LIST")) {
        // Anything but "OK" leaves the run waiting; the candidate can still
        // cancel or close.
        if (ValueOf(reply, QStringLiteral("status")) != QLatin1String("OK"))
            return {};
        const QString data = TrimBlanks(ValueOf(reply, QStringLiteral("data")));
        if (data.isEmpty()) {
            return { ErrorBox(QStringLiteral("You do not have any exams available for download")), EndRun(false),
                Plain(Kind::CloseWindow) };
        }
        // Empty pieces stay: "101,,102" is three exam IDs.
        m_queue = data.split(u',', Qt::KeepEmptyParts);
        return { Plain(Kind::DownloadNext) };
    }

    if (command == QLatin1String("REPORT"))
        return { Status(QStringLiteral("Completed")), EndRun(true) };

    if (command == QLatin1String("ERROR")) {
        return { EndRun(false), ErrorBox(ValueOf(reply, QStringLiteral("description"))),
            Plain(Kind::CloseWindow) };
    }

    return {};
}

ServiceProtocol::Decision ServiceProtocol::ExamHandled(bool installed, const QDateTime& now)
{
    if (m_queue.isEmpty())
        return {};
    if (installed)
        m_installed += m_queue.first() + u',';
    m_queue.removeFirst();
    if (!m_queue.isEmpty())
        return { Plain(Kind::DownloadNext) };
    return Report(now);
}

ServiceProtocol::Decision ServiceProtocol::ExamDeclined()
{
    if (m_queue.isEmpty())
        return {};
    m_queue.removeFirst();
    if (!m_queue.isEmpty())
        return { Plain(Kind::DownloadNext) };
    return { Status(QStringLiteral("Completed")), EndRun(true) };
}

ServiceProtocol::Decision ServiceProtocol::Report(const QDateTime& now)
{
    QString list = m_installed;
    if (list.endsWith(u','))
        list.chop(1);
    MESSAGE report;
    report.SetCommand(QStringLiteral("REPORT"));
    report.Parameters().Add(QStringLiteral("sid"), m_sessionID);
    report.Parameters().Add(QStringLiteral("list"), list);
    report.Parameters().Add(QStringLiteral("time"), ReportTime(now));
    return { Status(QStringLiteral("Performing post-installation tasks")), Send(report) };
}

QString ServiceProtocol::DownloadAddress(const QString& endpoint) const
{
    // Concatenated rather than expanded as a template, so a "{3}" inside the
    // session ID cannot pull in the exam ID.
    return endpoint + QStringLiteral("?sid=") + m_sessionID + QStringLiteral("&eid=") + CurrentExamID();
}

bool ServiceProtocol::IsPlainFileName(const QString& examID)
{
    return !examID.isEmpty() && !examID.contains(u'/') && !examID.contains(QLatin1String(".."))
        && !examID.contains(QChar(0));
}

QString ServiceProtocol::ReportTime(const QDateTime& now)
{
    return QLocale().toString(now.date(), QLocale::ShortFormat) + u' ' + now.time().toString(QStringLiteral("HH:mm:ss"));
}
