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
    case Kind::ShowStatus:
        return "status: " + step.Text;
    case Kind::ShowError:
        return QStringLiteral("box %1: ").arg(step.Style) + ExpandTemplate(step.Text, step.Values, false);
    case Kind::EndRun:
        return step.Success ? "end: success" : "end: failed";
    case Kind::AllowRetry:
        return "retry";
    case Kind::CloseWindow:
        return "close";
    case Kind::Send:
        return "send: " + step.Text;
    case Kind::DownloadNext:
        return "next";
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
    void initTestCase();
    void start_data();
    void start();
    void reply_data();
    void reply();
    void queue_data();
    void queue();
    void queueEnd_data();
    void queueEnd();
    void fullRunThenNewSession();
    void plainFileName_data();
    void plainFileName();
    void reportTimeFollowsTheLocale();
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
    QTest::newRow("REPORT") << "REPORT;" << Completed;
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

void ServiceProtocolTest::queueEnd_data()
{
    QTest::addColumn<QString>("data");
    QTest::addColumn<QString>("outcomes"); // per exam: i installed, f failed, d declined
    QTest::addColumn<QStringList>("expected"); // the last decision
    const auto report = [](const QString& list) {
        return QStringList { "status: Performing post-installation tasks",
            "send: REPORT?sid=S9&list=" + list + "&time=11/21/26 22:34:35;" };
    };
    QTest::newRow("all installed") << "101,102,103" << "iii" << report("101,102,103");
    QTest::newRow("middle failed") << "101,102,103" << "ifi" << report("101,103");
    QTest::newRow("last failed") << "101,102,103" << "iif" << report("101,102");
    QTest::newRow("none installed") << "101,102,103" << "fff" << report("");
    QTest::newRow("first of two declined") << "101,102" << "d" << QStringList { "next" };
    QTest::newRow("only exam declined") << "101" << "d" << Completed;
    QTest::newRow("last declined after an install: no REPORT") << "101,102" << "id" << Completed;
}

void ServiceProtocolTest::queueEnd()
{
    QFETCH(QString, data);
    QFETCH(QString, outcomes);
    ServiceProtocol protocol = LoggedOn(data);
    ServiceProtocol::Decision last;
    for (QChar outcome : outcomes)
        last = outcome == u'd' ? protocol.ExamDeclined() : protocol.ExamHandled(outcome == u'i', ReportMoment);
    QTEST(Lines(last), "expected");
}

void ServiceProtocolTest::fullRunThenNewSession()
{
    ServiceProtocol protocol = LoggedOn("101,102");
    QCOMPARE(protocol.DownloadAddress("http://127.0.0.1:1/PackCourier.asp"),
        "http://127.0.0.1:1/PackCourier.asp?sid=S9&eid=101");
    QCOMPARE(Lines(protocol.ExamHandled(true, ReportMoment)), QStringList { "next" });
    QCOMPARE(protocol.CurrentExamID(), "102");
    protocol.ExamHandled(true, ReportMoment);
    QCOMPARE(Lines(protocol.ReplyReceived("REPORT;")), Completed);

    protocol.Start("me", "pw");
    QVERIFY(protocol.SessionID().isEmpty());
    QVERIFY(protocol.Queue().isEmpty());
    protocol.ReplyReceived("LOGIN?status=OK&sid=T1;");
    protocol.ReplyReceived("LIST?status=OK&data=103;");
    QCOMPARE(Lines(protocol.ExamHandled(true, ReportMoment)).value(1),
        "send: REPORT?sid=T1&list=103&time=11/21/26 22:34:35;");
}

void ServiceProtocolTest::plainFileName_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<bool>("plain");
    QTest::newRow("number") << "101" << true;
    QTest::newRow("exam code") << "PRAC-101.v2" << true;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("slash") << "a/b" << false;
    QTest::newRow("parent") << ".." << false;
    QTest::newRow("dots inside") << "a..b" << false;
    QTest::newRow("NUL") << QString("10") + QChar(0) + "1" << false;
}

void ServiceProtocolTest::plainFileName()
{
    QFETCH(QString, id);
    QTEST(ServiceProtocol::IsPlainFileName(id), "plain");
}

// en_US is what every REPORT above carries.
void ServiceProtocolTest::reportTimeFollowsTheLocale()
{
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    const QString text = ServiceProtocol::ReportTime(ReportMoment);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QCOMPARE(text, "21.11.26 22:34:35");
}

QTEST_GUILESS_MAIN(ServiceProtocolTest)
#include "ServiceProtocolTest.moc"
