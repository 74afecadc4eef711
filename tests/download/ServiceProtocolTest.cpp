#include "download/ServiceProtocol.h"

#include "model/Common.h"

#include <QLocale>
#include <QTest>

namespace {

using Kind = ServiceProtocol::Step::Kind;

// A step as a readable line; an error box shows the text the box would show.
QString Line(const ServiceProtocol::Step& step)
{
    switch (step.Action) {
    case Kind::ShowStatus: return "status: " + step.Text;
    case Kind::ShowError: return QStringLiteral("box %1: ").arg(step.Style) + ExpandTemplate(step.Text, step.Values, false);
    case Kind::EndRun: return step.Success ? "end: success" : "end: failed";
    case Kind::AllowRetry: return "retry";
    case Kind::CloseWindow: return "close";
    case Kind::Send: return "send: " + step.Text;
    case Kind::DownloadNext: return "next";
    }
    return {};
}

QStringList Lines(const ServiceProtocol::Decision& decision)
{
    QStringList lines;
    for (const ServiceProtocol::Step& step : decision)
        lines << Line(step);
    return lines;
}

const QStringList CommunicationFailure { "end: failed", "status: Error communicating to server",
    "box 16: Cannot continue because there seems to be a problem with your internet connection or Practorium's "
    "PackCourier Service. If the problem persists, please contact Practorium support." };
const QStringList Completed { "status: Completed", "end: success" };
const QDateTime ReportMoment(QDate(2026, 11, 21), QTime(22, 34, 35));

// A protocol logged on with session ID S9 and the queue from `data`.
ServiceProtocol LoggedOn(const QString& data)
{
    ServiceProtocol protocol;
    protocol.Start("me", "pw");
    protocol.ReplyReceived("LOGIN?status=OK&sid=S9;");
    protocol.ReplyReceived("LIST?status=OK&data=" + data + ";");
    return protocol;
}

} // namespace

class ServiceProtocolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    }

    void reply_data()
    {
        QTest::addColumn<QString>("body");
        QTest::addColumn<QStringList>("expected");
        const QString cap(1024 * 1024 - QString("LOGIN?status=OK&sid=;").size(), u'x');

        QTest::newRow("LOGIN OK") << "LOGIN?status=OK&sid=S%3D1;"
                                  << QStringList { "status: Checking for available downloads", "send: LIST?sid=S%3D1;" };
        QTest::newRow("LOGIN without status") << "LOGIN?sid=S1;"
                                           << QStringList { "box 16: Cannot continue because the User ID or password is incorrect",
                                                  "end: failed", "retry", "status: Authentication failed!" };
        QTest::newRow("LIST not OK waits") << "LIST?status=BUSY&data=101;" << QStringList {};
        QTest::newRow("LIST of blanks") << "LIST?status=OK&data=   ;"
                                     << QStringList { "box 16: You do not have any exams available for download", "end: failed", "close" };
        QTest::newRow("LIST with exams") << "LIST?status=OK&data=101;" << QStringList { "next" };
        QTest::newRow("REPORT") << "REPORT;" << Completed;
        QTest::newRow("ERROR") << "ERROR?code=7&description=Account locked{CRLF}Call us;"
                               << QStringList { "end: failed", "box 16: Account locked\r\nCall us", "close" };
        QTest::newRow("command in other case") << "login?status=OK&sid=1;" << QStringList {};
        QTest::newRow("parameter without =") << "LOGIN?status=OK&sid;" << CommunicationFailure;
        QTest::newRow("reply at the size cap") << "LOGIN?status=OK&sid=" + cap + ";"
                                               << QStringList { "status: Checking for available downloads",
                                                      "send: LIST?sid=" + cap + ";" };
        QTest::newRow("reply over the size cap") << "LOGIN?status=OK&sid=" + cap + "x;" << CommunicationFailure;
    }

    void reply()
    {
        QFETCH(QString, body);
        ServiceProtocol protocol;
        protocol.Start("me", "pw");
        QTEST(Lines(protocol.ReplyReceived(body)), "expected");
    }

    // The LIST data is the queue, pieces trimmed only at its ends; the REPORT after the last exam lists what was
    // installed.
    void queueEnd_data()
    {
        QTest::addColumn<QString>("data");
        QTest::addColumn<QString>("outcomes"); // per exam: i installed, f failed, d declined
        QTest::addColumn<QStringList>("expected"); // the last decision
        const auto report = [](const QString& list) {
            return QStringList { "status: Performing post-installation tasks",
                "send: REPORT?sid=S9&list=" + list + "&time=11/21/26 22:34:35;" };
        };
        QTest::newRow("spaces at the ends") << " 101,102 " << "ii" << report("101,102");
        QTest::newRow("empty piece kept") << "101,,102" << "iii" << report("101,,102");
        QTest::newRow("inner spaces kept") << " 101 , 102 " << "ii" << report("101 , 102");
        QTest::newRow("middle failed") << "101,102,103" << "ifi" << report("101,103");
        QTest::newRow("first of two declined") << "101,102" << "d" << QStringList { "next" };
        QTest::newRow("last declined after an install: no REPORT") << "101,102" << "id" << Completed;
    }

    void queueEnd()
    {
        QFETCH(QString, data);
        QFETCH(QString, outcomes);
        ServiceProtocol protocol = LoggedOn(data);
        ServiceProtocol::Decision last;
        for (QChar outcome : outcomes)
            last = outcome == u'd' ? protocol.ExamDeclined() : protocol.ExamHandled(outcome == u'i', ReportMoment);
        QTEST(Lines(last), "expected");
    }

    // Only spaces are trimmed from the credentials; a new Start forgets the last session, its queue and what it
    // installed.
    void newSessionStartsAfresh()
    {
        ServiceProtocol protocol = LoggedOn("101,102");
        protocol.ExamHandled(true, ReportMoment);
        QCOMPARE(Lines(protocol.Start("  me@x.org ", "\tpw  ")),
            (QStringList { "status: Connecting to Practorium Download Server", "send: LOGIN?email=me@x.org&pwd=\tpw;" }));
        QVERIFY(protocol.SessionID().isEmpty() && protocol.Queue().isEmpty());
        protocol.ReplyReceived("LOGIN?status=OK&sid=T1;");
        protocol.ReplyReceived("LIST?status=OK&data=103;");
        QCOMPARE(Lines(protocol.ExamHandled(true, ReportMoment)).value(1), "send: REPORT?sid=T1&list=103&time=11/21/26 22:34:35;");
    }
};

QTEST_GUILESS_MAIN(ServiceProtocolTest)
#include "ServiceProtocolTest.moc"
