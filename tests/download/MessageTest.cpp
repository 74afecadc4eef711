#include "common/TestUtil.h"
#include "download/Message.h"

#include <QTest>

#include <algorithm>

using namespace TestUtil;

namespace {

// "name=value" pairs of a collection in enumeration order.
QStringList Pairs(const Parameters& parameters)
{
    QStringList pairs;
    std::transform(parameters.begin(), parameters.end(), std::back_inserter(pairs),
        [](const Parameter& p) { return p.Name() + u'=' + p.value(); });
    return pairs;
}

} // namespace

class MessageTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pack_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QStringList>("parameters"); // name, value, name, value, ...
        QTest::addColumn<QString>("expected"); // the text, or the error raised
        QTest::newRow("bare command") << "LOGIN" << QStringList {} << "LOGIN;";
        QTest::newRow("others untouched") << "C" << QStringList { "v", "a b+c@d/\u00e9,%3b" } << "C?v=a b+c@d/\u00e9,%253b;";
        QTest::newRow("empty value") << "C" << QStringList { "v", "" } << "C?v=;";
        QTest::newRow("names are not escaped") << "C" << QStringList { "a&b", "1" } << "C?a&b=1;";
        QTest::newRow("same key replaces in place") << "C" << QStringList { "a", "1", "b", "2", "A", "3" } << "C?A=3&b=2;";
        QTest::newRow("nothing trimmed") << " C " << QStringList { " n ", " v " } << " C ? n = v ;";
        QTest::newRow("escaped-looking %3B") << "C" << QStringList { "v", "%3B" } << "C?v=%253B;";
        QTest::newRow("doubled specials") << "C" << QStringList { "v", "%%?" "?==&&;;" } << "C?v=%25%25%3F%3F%3D%3D%26%26%3B%3B;";
        QTest::newRow("percent before hex of another") << "C" << QStringList { "v", "%%3F%26%3D" } << "C?v=%25%253F%2526%253D;";
        QTest::newRow("no command") << "" << QStringList { "a", "1" } << "80040003 Message::Pack(): No command specified for the message";
    }

    // A packed message unpacks to the same command and parameters, unless its names hold the separators (they are sent
    // as they are).
    void pack()
    {
        QFETCH(QString, command);
        QFETCH(QStringList, parameters);
        MESSAGE message;
        message.SetCommand(command);
        for (qsizetype i = 0; i + 1 < parameters.size(); i += 2)
            message.Parameters().Add(parameters[i], parameters[i + 1]);
        const Error e = Raised([&] { message.Pack(); });
        QTEST(e.Number() ? QStringLiteral("%1 %2: %3").arg(quint32(e.Number()), 0, 16).arg(e.Source(), e.Description()) : message.Text(),
            "expected");
        if (e.Number() || QTest::currentDataTag() == QByteArrayView("names are not escaped"))
            return;
        MESSAGE received;
        received.UnPack(message.Text());
        QCOMPARE(received.Command(), command);
        QCOMPARE(Pairs(received.Parameters()), Pairs(message.Parameters()));
    }

    // What a text unpacks to; a fault raises from "Message::UnPack()" and leaves what was decoded before it in place of
    // the earlier message.
    void unpack_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("command");
        QTest::addColumn<QStringList>("pairs");
        QTest::addColumn<QString>("error"); // number (hexadecimal) and description
        QTest::newRow("no parameters") << "STATUS;" << "STATUS" << QStringList {} << "";
        QTest::newRow("empty section") << "CMD?;" << "CMD" << QStringList {} << "";
        QTest::newRow("later spelling wins") << "CMD?a=1&A=2;" << "CMD" << QStringList { "A=2" } << "";
        QTest::newRow("third part dropped") << "CMD?x=y=z;" << "CMD" << QStringList { "x=y" } << "";
        QTest::newRow("escapes") << "CMD?v=50%25%3Boff&w=%3F%3D%26;" << "CMD" << QStringList { "v=50%;off", "w=?=&" } << "";
        QTest::newRow("escaped percent-3B") << "CMD?v=%253B;" << "CMD" << QStringList { "v=%3B" } << "";
        QTest::newRow("lower-case escapes untouched") << "CMD?v=a%3bb%3fc%3d;" << "CMD" << QStringList { "v=a%3bb%3fc%3d" } << "";
        QTest::newRow("text after terminator ignored") << "CMD?a=1;junk?b=2;" << "CMD" << QStringList { "a=1" } << "";
        QTest::newRow("empty value") << "CMD?a=&b=2;" << "CMD" << QStringList { "a=", "b=2" } << "";
        QTest::newRow("empty name") << "CMD?=v;" << "CMD" << QStringList { "=v" } << "";
        QTest::newRow("names not unescaped") << "CMD?a%3D=1;" << "CMD" << QStringList { "a%3D=1" } << "";
        QTest::newRow("no terminator") << "LOGIN?status=OK" << "" << QStringList {} << "80040001 Invalid message";
        QTest::newRow("empty text") << "" << "" << QStringList {} << "80040001 Invalid message";
        QTest::newRow("piece without =") << "CMD?a=1&b&c=3;" << "CMD" << QStringList { "a=1" } << "80040002 Error decoding parameters";
        QTest::newRow("leading &") << "CMD?&a=1;" << "CMD" << QStringList {} << "80040002 Error decoding parameters";
        QTest::newRow("terminator before ?") << "CMD;x?a=1;" << "CMD;x" << QStringList {} << "5 Invalid procedure call or argument";
    }

    void unpack()
    {
        QFETCH(QString, text);
        QFETCH(QString, error);
        MESSAGE message;
        message.SetCommand("OLD");
        message.Parameters().Add("old", "1");
        const Error e = Raised([&] { message.UnPack(text); });
        QCOMPARE(e.Number() ? QStringLiteral("%1 %2").arg(quint32(e.Number()), 0, 16).arg(e.Description()) : QString(), error);
        QCOMPARE(e.Source(), e.Number() ? "Message::UnPack()" : "");
        QTEST(message.Command(), "command");
        QTEST(Pairs(message.Parameters()), "pairs");
        QCOMPARE(message.Text(), text);
    }

    // A reply near the size cap holds some 200,000 parameters; a quadratic decoder would take minutes here.
    void manyParametersDecodeInLinearTime()
    {
        QString text = "LIST?";
        for (int i = 0; i < 200000; ++i)
            text += QStringLiteral("p%1=%1&").arg(i);
        text.back() = u';';
        MESSAGE message;
        message.UnPack(text);
        QCOMPARE(message.Parameters().Count(), 200000);
        QCOMPARE(message.Parameters().Item("P199999").value(), "199999");
    }
};

QTEST_GUILESS_MAIN(MessageTest)
#include "MessageTest.moc"
