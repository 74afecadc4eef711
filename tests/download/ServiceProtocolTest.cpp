#include "download/ServiceProtocol.h"

#include "model/Common.h"

#include <QLocale>
#include <QTest>

namespace {

using Kind = ServiceProtocol::Step::Kind;

// A decision as readable lines; error boxes show the text the box would show.
QStringList Lines(const ServiceProtocol::Decision& decision)
{
    QStringList lines;
    for (const ServiceProtocol::Step& step : decision) {
        switch (step.Action) {
        case Kind::ShowStatus:
            lines << "status: " + step.Text;
            break;
        case Kind::ShowError:
            lines << QStringLiteral("box %1: ").arg(step.Style) + ExpandTemplate(step.Text, step.Values, false);
            break;
        case Kind::EndRun:
            lines << (step.Success ? "end: success" : "end: failed");
            break;
        case Kind::AllowRetry:
            lines << "retry";
            break;
        case Kind::CloseWindow:
            lines << "close";
            break;
        case Kind::Send:
            lines << "send: " + step.Text;
            break;
        case Kind::DownloadNext:
            lines << "next";
            break;
        }
    }
    return lines;
}

const QString CommunicationBox = "box 16: Cannot continue because there seems to be a problem with your internet "
                                 "connection or Practorium's PackCourier Service. If the problem persists, please "
                                 "contact Practorium support.";
const QStringList CommunicationFailure { "end: failed", "status: Error communicating to server", CommunicationBox };

// A protocol logged on with session ID S9 and the queue 101,102,103.
ServiceProtocol LoggedOn(const QString& data = "101,102,103")
{
    ServiceProtocol protocol;
    protocol.Start("me", "pw");
    protocol.ReplyReceived("LOGIN?status=OK&sid=S9;");
    protocol.ReplyReceived("LIST?status=OK&data=" + data + ";");
    return protocol;
}

const QDateTime ReportMoment(QDate(2026, 11, 21), QTime(22, 34, 35));

} // namespace

class ServiceProtocolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void start_data();
    void start();
    void reply_data();
    void reply();
    void queue_data();
    void queue();
    void fullRun();
    void reportList_data();
    void reportList();
    void declined_data();
    void declined();
    void transportFailure();
    void plainFileName_data();
    void plainFileName();
    void reportTime_data();
    void reportTime();
};

void ServiceProtocolTest::initTestCase()
{
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
}

void ServiceProtocolTest::start_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("request");
    QTest::newRow("escaped values") << "a&b" << "x=1" << "LOGIN?email=a%26b&pwd=x%3D1;";
    QTest::newRow("spaces trimmed") << "  me@x.org " << " pw  " << "LOGIN?email=me@x.org&pwd=pw;";
    QTest::newRow("only spaces are blanks") << "\tme" << "pw\t" << "LOGIN?email=\tme&pwd=pw\t;";
}

void ServiceProtocolTest::start()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(QString, request);
    ServiceProtocol protocol;
    QCOMPARE(Lines(protocol.Start(user, password)),
        (QStringList { "status: Connecting to Practorium Download Server", "send: " + request }));
}

void ServiceProtocolTest::reply_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<QStringList>("expected");
    const QStringList loginFailed { "box 16: Cannot continue because the User ID or password is incorrect",
        "end: failed", "retry", "status: Authentication failed!" };
    const QStringList noExams { "box 16: You do not have any exams available for download", "end: failed", "close" };
    const QStringList completed { "status: Completed", "end: success" };
    const QString cap(1024 * 1024 - QString("LOGIN?status=OK&sid=;").size(), u'x');

    QTest::newRow("LOGIN OK") << "LOGIN?status=OK&sid=S%3D1;"
                              << QStringList { "status: Checking for available downloads", "send: LIST?sid=S%3D1;" };
    QTest::newRow("LOGIN wrong password") << "LOGIN?status=FAILED;" << loginFailed;
    QTest::newRow("LOGIN without status") << "LOGIN?sid=S1;" << loginFailed;
    QTest::newRow("LIST not OK waits") << "LIST?status=BUSY&data=101;" << QStringList {};
    QTest::newRow("LIST without status waits") << "LIST?data=101;" << QStringList {};
    QTest::newRow("LIST of blanks") << "LIST?status=OK&data=   ;" << noExams;
    QTest::newRow("LIST without data") << "LIST?status=OK;" << noExams;
    QTest::newRow("LIST with exams") << "LIST?status=OK&data=101;" << QStringList { "next" };
    QTest::newRow("REPORT") << "REPORT;" << completed;
    QTest::newRow("ERROR") << "ERROR?code=7&description=Account locked{CRLF}Call us;"
                           << QStringList { "end: failed", "box 16: Account locked\r\nCall us", "close" };
    QTest::newRow("unknown command") << "HELLO?status=OK;" << QStringList {};
    QTest::newRow("command in other case") << "login?status=OK&sid=1;" << QStringList {};
    QTest::newRow("empty body") << "" << QStringList {};
    QTest::newRow("not a message") << "<html><body>Service Unavailable</body></html>" << CommunicationFailure;
    QTest::newRow("parameter without =") << "LOGIN?status=OK&sid;" << CommunicationFailure;
    QTest::newRow("terminator before ?") << "LOGIN;?status=OK;" << CommunicationFailure;
    QTest::newRow("reply at the size cap") << "LOGIN?status=OK&sid=" + cap + ";"
                                           << QStringList { "status: Checking for available downloads",
                                                  "send: LIST?sid=" + cap + ";" };
    QTest::newRow("reply over the size cap") << "LOGIN?status=OK&sid=" + cap + "x;" << CommunicationFailure;
}

void ServiceProtocolTest::reply()
{
    QFETCH(QString, body);
    ServiceProtocol protocol;
    protocol.Start("me", "pw");
    QTEST(Lines(protocol.ReplyReceived(body)), "expected");
}

void ServiceProtocolTest::queue_data()
{
    QTest::addColumn<QString>("data");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("spaces at the ends") << " 101,102 " << QStringList { "101", "102" };
    QTest::newRow("empty piece kept") << "101,,102" << QStringList { "101", "", "102" };
    QTest::newRow("trailing comma") << "101," << QStringList { "101", "" };
    QTest::newRow("inner spaces kept") << " 101 , 102 " << QStringList { "101 ", " 102" };
}

void ServiceProtocolTest::queue()
{
    QFETCH(QString, data);
    QTEST(LoggedOn(data).Queue(), "expected");
}

void ServiceProtocolTest::fullRun()
{
    ServiceProtocol protocol = LoggedOn("101,102");
    QCOMPARE(protocol.DownloadAddress("http://127.0.0.1:1/PackCourier.asp"),
        "http://127.0.0.1:1/PackCourier.asp?sid=S9&eid=101");
    QCOMPARE(Lines(protocol.ExamHandled(true, ReportMoment)), QStringList { "next" });
    QCOMPARE(protocol.CurrentExamID(), "102");
    QCOMPARE(Lines(protocol.ExamHandled(true, ReportMoment)),
        (QStringList { "status: Performing post-installation tasks",
            "send: REPORT?sid=S9&list=101,102&time=11/21/26 22:34:35;" }));
    QCOMPARE(Lines(protocol.ReplyReceived("REPORT;")), (QStringList { "status: Completed", "end: success" }));

    // A new run forgets the old session.
    protocol.Start("me", "pw");
    QVERIFY(protocol.SessionID().isEmpty());
    QVERIFY(protocol.Queue().isEmpty());
    protocol.ReplyReceived("LOGIN?status=OK&sid=T1;");
    protocol.ReplyReceived("LIST?status=OK&data=103;");
    QVERIFY(Lines(protocol.ExamHandled(true, ReportMoment)).contains("send: REPORT?sid=T1&list=103&time=11/21/26 22:34:35;"));
}

void ServiceProtocolTest::reportList_data()
{
    QTest::addColumn<QList<bool>>("installed");
    QTest::addColumn<QString>("list");
    QTest::newRow("all three") << QList<bool> { true, true, true } << "101,102,103";
    QTest::newRow("middle failed") << QList<bool> { true, false, true } << "101,103";
    QTest::newRow("last failed") << QList<bool> { true, true, false } << "101,102";
    QTest::newRow("none installed") << QList<bool> { false, false, false } << "";
}

void ServiceProtocolTest::reportList()
{
    QFETCH(QList<bool>, installed);
    QFETCH(QString, list);
    ServiceProtocol protocol = LoggedOn();
    ServiceProtocol::Decision last;
    for (bool each : installed)
        last = protocol.ExamHandled(each, ReportMoment);
    QCOMPARE(Lines(last).value(1), "send: REPORT?sid=S9&list=" + list + "&time=11/21/26 22:34:35;");
}

void ServiceProtocolTest::declined_data()
{
    QTest::addColumn<QString>("data");
    QTest::addColumn<bool>("installFirst");
    QTest::addColumn<QStringList>("expected");
    const QStringList completed { "status: Completed", "end: success" };
    QTest::newRow("only exam declined") << "101" << false << completed;
    QTest::newRow("last declined after an install: still no REPORT") << "101,102" << true << completed;
    QTest::newRow("first of two declined") << "101,102" << false << QStringList { "next" };
}

void ServiceProtocolTest::declined()
{
    QFETCH(QString, data);
    QFETCH(bool, installFirst);
    ServiceProtocol protocol = LoggedOn(data);
    if (installFirst)
        protocol.ExamHandled(true, ReportMoment);
    QTEST(Lines(protocol.ExamDeclined()), "expected");
}

void ServiceProtocolTest::transportFailure()
{
    ServiceProtocol protocol;
    QCOMPARE(Lines(protocol.TransportFailed(12029, "Connection refused")),
        (QStringList { "box 16: Error (0x2EFD) Connection refused\r\nUnable to perform this operation. Make sure "
                       "you are connected to Internet.",
            "end: failed" }));
}

void ServiceProtocolTest::plainFileName_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<bool>("plain");
    QTest::newRow("number") << "101" << true;
    QTest::newRow("exam code") << "PRAC-101.v2" << true;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("slash") << "a/b" << false;
    QTest::newRow("absolute") << "/tmp/x" << false;
    QTest::newRow("parent") << ".." << false;
    QTest::newRow("dots inside") << "a..b" << false;
    QTest::newRow("NUL") << QString("10") + QChar(0) + "1" << false;
}

void ServiceProtocolTest::plainFileName()
{
    QFETCH(QString, id);
    QTEST(ServiceProtocol::IsPlainFileName(id), "plain");
}

void ServiceProtocolTest::reportTime_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::addColumn<QString>("expected");
    QTest::newRow("en_US") << QLocale(QLocale::English, QLocale::UnitedStates) << "11/21/26 22:34:35";
    QTest::newRow("de_DE") << QLocale(QLocale::German, QLocale::Germany) << "21.11.26 22:34:35";
}

void ServiceProtocolTest::reportTime()
{
    QFETCH(QLocale, locale);
    QLocale::setDefault(locale);
    const QString text = ServiceProtocol::ReportTime(ReportMoment);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QTEST(text, "expected");
}

QTEST_GUILESS_MAIN(ServiceProtocolTest)
#include "ServiceProtocolTest.moc"
