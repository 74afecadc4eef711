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

} // namespace

class ServiceProtocolTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    }

    // A run from Start: each step a reply or what became of the next exam (i installed, f failed, d declined); the
    // last decision. The LIST data is the queue, its pieces trimmed only at its ends; the REPORT after the last exam
    // lists what was installed.
    void run_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QStringList>("expected");
        const QString cap(1024 * 1024 - QString("LOGIN?status=OK&sid=;").size(), u'x');
        const auto listed = [](const QString& data, const QString& outcomes) {
            return QStringList { "LOGIN?status=OK&sid=S9;", "LIST?status=OK&data=" + data + ";" } + outcomes.split("", Qt::SkipEmptyParts);
        };
        const auto report = [](const QString& list) {
            return QStringList { "status: Performing post-installation tasks", "send: REPORT?sid=S9&list=" + list + "&time=11/21/26 22:34:35;" };
        };
        QTest::newRow("LOGIN OK") << QStringList { "LOGIN?status=OK&sid=S%3D1;" }
                                  << QStringList { "status: Checking for available downloads", "send: LIST?sid=S%3D1;" };
        QTest::newRow("LOGIN without status") << QStringList { "LOGIN?sid=S1;" }
                                              << QStringList { "box 16: Cannot continue because the User ID or password is incorrect",
                                                     "end: failed", "retry", "status: Authentication failed!" };
        QTest::newRow("LIST not OK waits") << QStringList { "LIST?status=BUSY&data=101;" } << QStringList {};
        QTest::newRow("LIST of blanks") << QStringList { "LIST?status=OK&data=   ;" }
                                        << QStringList { "box 16: You do not have any exams available for download", "end: failed", "close" };
        QTest::newRow("LIST with exams") << QStringList { "LIST?status=OK&data=101;" } << QStringList { "next" };
        QTest::newRow("REPORT") << QStringList { "REPORT;" } << Completed;
        QTest::newRow("ERROR") << QStringList { "ERROR?code=7&description=Account locked{CRLF}Call us;" }
                               << QStringList { "end: failed", "box 16: Account locked\r\nCall us", "close" };
        QTest::newRow("command in other case") << QStringList { "login?status=OK&sid=1;" } << QStringList {};
        QTest::newRow("parameter without =") << QStringList { "LOGIN?status=OK&sid;" } << CommunicationFailure;
        QTest::newRow("reply at the size cap") << QStringList { "LOGIN?status=OK&sid=" + cap + ";" }
                                               << QStringList { "status: Checking for available downloads", "send: LIST?sid=" + cap + ";" };
        QTest::newRow("reply over the size cap") << QStringList { "LOGIN?status=OK&sid=" + cap + "x;" } << CommunicationFailure;
        QTest::newRow("spaces at the ends") << listed(" 101,102 ", "ii") << report("101,102");
        QTest::newRow("empty piece kept") << listed("101,,102", "iii") << report("101,,102");
        QTest::newRow("inner spaces kept") << listed(" 101 , 102 ", "ii") << report("101 , 102");
        QTest::newRow("middle failed") << listed("101,102,103", "ifi") << report("101,103");
        QTest::newRow("first of two declined") << listed("101,102", "d") << QStringList { "next" };
        QTest::newRow("last declined after an install: no REPORT") << listed("101,102", "id") << Completed;
    }

    void run()
    {
        QFETCH(QStringList, steps);
        ServiceProtocol protocol;
        protocol.Start("me", "pw");
        ServiceProtocol::Decision last;
        for (const QString& step : steps) {
            last = step == "d" ? protocol.ExamDeclined()
                : step.size() == 1 ? protocol.ExamHandled(step == "i", ReportMoment)
                                   : protocol.ReplyReceived(step);
        }
        QTEST(Lines(last), "expected");
    }

    // Only spaces are trimmed from the credentials; a new Start forgets the last session, its queue and what it
    // installed.
    void newSessionStartsAfresh()
    {
        ServiceProtocol protocol;
        protocol.Start("me", "pw");
        for (const char* reply : { "LOGIN?status=OK&sid=S9;", "LIST?status=OK&data=101,102;" })
            protocol.ReplyReceived(reply);
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
