#include "common/TestUtil.h"
#include "download/Message.h"

#include <QTest>

using namespace TestUtil;

namespace {

// "name=value" pairs of a collection in enumeration order.
QStringList Pairs(const Parameters& parameters)
{
    QStringList pairs;
    for (const Parameter& parameter : parameters)
        pairs << parameter.Name() + u'=' + parameter.value();
    return pairs;
}

} // namespace

class MessageTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pack_data();
    void pack();
    void packWithoutCommand();
    void unpack_data();
    void unpack();
    void unpackErrors_data();
    void unpackErrors();
    void everyPrefixIsIncomplete();
    void roundTrip_data();
    void roundTrip();
    void manyParametersDecodeInLinearTime();
    void getIndex_data();
    void getIndex();
    void unknownKeysAndPositions();
};

void MessageTest::pack_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("parameters"); // name, value, name, value, ...
    QTest::addColumn<QString>("expected");
    QTest::newRow("bare command") << "LOGIN" << QStringList {} << "LOGIN;";
    QTest::newRow("report example") << "REPORT" << QStringList { "sid", "7", "list", "a;b=c" }
                                    << "REPORT?sid=7&list=a%3Bb%3Dc;";
    QTest::newRow("login example") << "LOGIN" << QStringList { "email", "a&b", "pwd", "x=1" }
                                   << "LOGIN?email=a%26b&pwd=x%3D1;";
    QTest::newRow("percent escaped first") << "C" << QStringList { "v", "50%;off" } << "C?v=50%25%3Boff;";
    QTest::newRow("all five") << "C" << QStringList { "v", "%?=&;" } << "C?v=%25%3F%3D%26%3B;";
    QTest::newRow("others untouched") << "C" << QStringList { "v", "a b+c@d/\u00e9,%3b" }
                                      << "C?v=a b+c@d/\u00e9,%253b;";
    QTest::newRow("empty value") << "C" << QStringList { "v", "" } << "C?v=;";
    QTest::newRow("names are not escaped") << "C" << QStringList { "a&b", "1" } << "C?a&b=1;";
    QTest::newRow("same key replaces in place") << "C" << QStringList { "a", "1", "b", "2", "A", "3" }
                                                << "C?A=3&b=2;";
    QTest::newRow("nothing trimmed") << " C " << QStringList { " n ", " v " } << " C ? n = v ;";
}

void MessageTest::pack()
{
    QFETCH(QString, command);
    QFETCH(QStringList, parameters);
    MESSAGE message;
    message.SetCommand(command);
    for (qsizetype i = 0; i + 1 < parameters.size(); i += 2)
        message.Parameters().Add(parameters[i], parameters[i + 1]);
    message.Pack();
    QTEST(message.Text(), "expected");
}

void MessageTest::packWithoutCommand()
{
    MESSAGE message;
    message.Parameters().Add("a", "1");
    const Error e = Raised([&] { message.Pack(); });
    QCOMPARE(e.Number(), qint32(0x80040003));
    QCOMPARE(e.Source(), "Message::Pack()");
    QCOMPARE(e.Description(), "No command specified for the message");
}

void MessageTest::unpack_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("pairs");
    QTest::newRow("no parameters") << "STATUS;" << "STATUS" << QStringList {};
    QTest::newRow("empty section") << "CMD?;" << "CMD" << QStringList {};
    QTest::newRow("later spelling wins") << "CMD?a=1&A=2;" << "CMD" << QStringList { "A=2" };
    QTest::newRow("third part dropped") << "CMD?x=y=z;" << "CMD" << QStringList { "x=y" };
    QTest::newRow("escapes") << "CMD?v=50%25%3Boff&w=%3F%3D%26;" << "CMD" << QStringList { "v=50%;off", "w=?=&" };
    QTest::newRow("escaped percent-3B") << "CMD?v=%253B;" << "CMD" << QStringList { "v=%3B" };
    QTest::newRow("lower-case escapes untouched") << "CMD?v=a%3bb%3fc%3d;" << "CMD" << QStringList { "v=a%3bb%3fc%3d" };
    QTest::newRow("text after terminator ignored") << "CMD?a=1;junk?b=2;" << "CMD" << QStringList { "a=1" };
    QTest::newRow("empty value") << "CMD?a=&b=2;" << "CMD" << QStringList { "a=", "b=2" };
    QTest::newRow("empty name") << "CMD?=v;" << "CMD" << QStringList { "=v" };
    QTest::newRow("names not unescaped") << "CMD?a%3D=1;" << "CMD" << QStringList { "a%3D=1" };
}

void MessageTest::unpack()
{
    QFETCH(QString, text);
    MESSAGE message;
    message.UnPack(text);
    QTEST(message.Command(), "command");
    QTEST(Pairs(message.Parameters()), "pairs");
    QCOMPARE(message.Text(), text);
}

void MessageTest::unpackErrors_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<qint32>("number");
    QTest::addColumn<QString>("description");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("pairs");
    const qint32 invalid = qint32(0x80040001);
    const qint32 decoding = qint32(0x80040002);
    QTest::newRow("no terminator") << "LOGIN?status=OK" << invalid << "Invalid message" << "" << QStringList {};
    QTest::newRow("empty text") << "" << invalid << "Invalid message" << "" << QStringList {};
    QTest::newRow("piece without =") << "CMD?a=1&b&c=3;" << decoding << "Error decoding parameters" << "CMD"
                                     << QStringList { "a=1" };
    QTest::newRow("trailing &") << "CMD?a=1&;" << decoding << "Error decoding parameters" << "CMD"
                                << QStringList { "a=1" };
    QTest::newRow("double &") << "CMD?a=1&&b=2;" << decoding << "Error decoding parameters" << "CMD"
                              << QStringList { "a=1" };
    QTest::newRow("leading &") << "CMD?&a=1;" << decoding << "Error decoding parameters" << "CMD" << QStringList {};
    QTest::newRow("terminator before ?") << "CMD;x?a=1;" << qint32(5) << "Invalid procedure call or argument"
                                         << "CMD;x" << QStringList {};
}

void MessageTest::unpackErrors()
{
    QFETCH(QString, text);
    MESSAGE message;
    message.SetCommand("OLD");
    message.Parameters().Add("old", "1");
    const Error e = Raised([&] { message.UnPack(text); });
    QTEST(e.Number(), "number");
    QTEST(e.Description(), "description");
    QCOMPARE(e.Source(), "Message::UnPack()");
    QCOMPARE(message.Text(), text);
    QTEST(message.Command(), "command");
    QTEST(Pairs(message.Parameters()), "pairs");
}

// A reply cut anywhere before its terminator is "Invalid message", never a
// shorter message that happens to decode.
void MessageTest::everyPrefixIsIncomplete()
{
    const QString text = "LOGIN?status=OK&sid=4f%3D9%26x;";
    for (qsizetype length = 0; length < text.size(); ++length) {
        MESSAGE message;
        const Error e = Raised([&] { message.UnPack(text.left(length)); });
        QVERIFY2(e.Number() == qint32(0x80040001), qPrintable(text.left(length)));
    }
    MESSAGE message;
    message.UnPack(text);
    QCOMPARE(Pairs(message.Parameters()), (QStringList { "status=OK", "sid=4f=9&x" }));
}

void MessageTest::roundTrip_data()
{
    QTest::addColumn<QString>("value");
    QTest::newRow("escaped-looking %3B") << "%3B";
    QTest::newRow("escaped-looking %253B") << "%253B";
    QTest::newRow("percent then terminator") << "%;";
    QTest::newRow("doubled specials") << "%%?" "?==&&;;";
    QTest::newRow("percent before hex of another") << "%%3F%26%3D";
    QTest::newRow("non-ASCII") << "\u00e9\u20ac\u00fc";
}

void MessageTest::roundTrip()
{
    QFETCH(QString, value);
    MESSAGE sent;
    sent.SetCommand("C");
    sent.Parameters().Add("v", value);
    sent.Pack();
    MESSAGE received;
    received.UnPack(sent.Text());
    QCOMPARE(received.Parameters().Item("v").value(), value);
}

// A reply near the size cap holds some 200,000 parameters; a quadratic
// decoder would take minutes here.
void MessageTest::manyParametersDecodeInLinearTime()
{
    QString text = "LIST?";
    for (int i = 0; i < 200000; ++i)
        text += QStringLiteral("p%1=%1&").arg(i);
    text.chop(1);
    text += u';';
    MESSAGE message;
    message.UnPack(text);
    QCOMPARE(message.Parameters().Count(), 200000);
    QCOMPARE(message.Parameters().Item("P199999").value(), "199999");
}

void MessageTest::getIndex_data()
{
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QString>("name");
    QTest::addColumn<qint32>("expected");
    const QStringList three { "a", "Sid", "c" };
    QTest::newRow("first") << three << "a" << 1;
    QTest::newRow("other case") << three << "SID" << 2;
    QTest::newRow("last") << three << "c" << 3;
    QTest::newRow("unknown is one past the end") << three << "d" << 4;
    QTest::newRow("unknown in an empty collection") << QStringList {} << "a" << 1;
}

void MessageTest::getIndex()
{
    QFETCH(QStringList, names);
    QFETCH(QString, name);
    Parameters parameters;
    for (const QString& each : names)
        parameters.Add(each, "v");
    QTEST(parameters.GetIndex(name), "expected");
}

void MessageTest::unknownKeysAndPositions()
{
    Parameters parameters;
    parameters.Add("a", "1");
    parameters.Add("b", "2");
    parameters.Remove("B");
    QCOMPARE(Pairs(parameters), QStringList { "a=1" });
    QCOMPARE(Raised([&] { parameters.Item("b"); }).Number(), 5);
    QCOMPARE(Raised([&] { parameters.Remove("b"); }).Number(), 5);
    QCOMPARE(Raised([&] { parameters.RemoveAt(0); }).Number(), 9);
    QCOMPARE(Raised([&] { parameters.RemoveAt(2); }).Number(), 9);
    parameters.RemoveAt(1);
    QCOMPARE(parameters.Count(), 0);
    QCOMPARE(Raised([&] { parameters.Item("a"); }).Number(), 5);
}

QTEST_GUILESS_MAIN(MessageTest)
#include "MessageTest.moc"
