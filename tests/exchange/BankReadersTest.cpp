#include "common/TestUtil.h"
#include "exchange/BankFormat.h"
#include "exchange/Text.h"
#include "tests/exchange/BankOutline.h"

#include <QStringDecoder>
#include <QTest>

using namespace exchange;

Q_DECLARE_METATYPE(exchange::BankFormat)

namespace {

QString Sample(const QString& name)
{
    return QStringLiteral(TEST_DATA_DIR "/banks/") + name;
}

} // namespace

class BankReadersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void samplesReadAsOutlined_data();
    void samplesReadAsOutlined();
    void hostileInputFailsWithLine_data();
    void hostileInputFailsWithLine();
};

// Each sample, detected by content and in every encoding a text bank comes
// in, reads as its outline (tests/data/banks/*.outline, checked by hand).
void BankReadersTest::samplesReadAsOutlined_data()
{
    QTest::addColumn<QString>("sample");
    QTest::addColumn<BankFormat>("format");
    QTest::addColumn<QString>("encoding");
    for (const auto& [name, format] : { std::pair { "networking.gift", BankFormat::Gift },
             std::pair { "networking.aiken.txt", BankFormat::Aiken }, std::pair { "networking.csv", BankFormat::Csv } }) {
        for (const char* encoding : { "utf-8", "utf-8 bom", "utf-16le bom", "utf-16be bom", "crlf" })
            QTest::addRow("%s %s", name, encoding) << QString::fromLatin1(name) << format << QString::fromLatin1(encoding);
    }
    // Windows-1252 cannot hold the GIFT sample's arrow; the others are ASCII.
    QTest::newRow("aiken windows-1252") << QStringLiteral("networking.aiken.txt") << BankFormat::Aiken << QStringLiteral("windows-1252");
    // XML says its own encoding, and a package is a zip: read as they are.
    QTest::newRow("moodle xml") << QStringLiteral("moodle-networking.xml") << BankFormat::MoodleXml << QStringLiteral("as is");
    QTest::newRow("qti item") << QStringLiteral("qti-item-choice.xml") << BankFormat::Qti << QStringLiteral("as is");
    QTest::newRow("qti package") << QStringLiteral("qti-package.zip") << BankFormat::Qti << QStringLiteral("as is");
}

void BankReadersTest::samplesReadAsOutlined()
{
    QFETCH(QString, sample);
    QFETCH(BankFormat, format);
    QFETCH(QString, encoding);
    const QString text = QString::fromUtf8(TestUtil::ReadAll(Sample(sample)));
    QVERIFY(!text.isEmpty());
    QByteArray bytes;
    if (encoding == QLatin1String("as is"))
        bytes = TestUtil::ReadAll(Sample(sample));
    else if (encoding == QLatin1String("utf-8"))
        bytes = text.toUtf8();
    else if (encoding == QLatin1String("utf-8 bom"))
        bytes = "\xEF\xBB\xBF" + text.toUtf8();
    else if (encoding == QLatin1String("crlf"))
        bytes = QString(text).replace(QStringLiteral("\r\n"), QStringLiteral("\n")).replace(u'\n', QStringLiteral("\r\n")).toUtf8();
    else if (encoding == QLatin1String("windows-1252"))  // bytes that are not UTF-8
        bytes = text.toLatin1() + QByteArray("\nSmart \x93quotes\x94 \x97 dash?\nA. yes\nB. no\nANSWER: A\n");
    else {
        QStringEncoder encoder(encoding.startsWith(QLatin1String("utf-16le")) ? QStringConverter::Utf16LE : QStringConverter::Utf16BE,
            QStringConverter::Flag::WriteBom);
        bytes = encoder.encode(text);
    }

    QCOMPARE(DetectFormat(bytes), format);
    Bank bank;
    ReadFailure failure;
    QVERIFY2(ReadBank(format, bytes, bank, failure), qPrintable(failure.description));
    QString expected = QString::fromUtf8(TestUtil::ReadAll(Sample(sample + QStringLiteral(".outline"))));
    if (encoding == QLatin1String("windows-1252")) {
        expected.replace(QStringLiteral("skipped 0"),
            QStringLiteral("23: Smart \u201Cquotes\u201D \u2014 dash?\n + yes\n - no\nskipped 0"));
    }
    QCOMPARE(BankOutline(bank), expected);
}

// A source that cannot be read stops at the first fault with its line; the
// bank is not half-filled into an exam.
void BankReadersTest::hostileInputFailsWithLine_data()
{
    QTest::addColumn<BankFormat>("format");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("description");

    QTest::newRow("gift open brace") << BankFormat::Gift << QByteArray("::a::ok {=x ~y}\n\n// c\n::b::\ntext {=x ~y\n~z\n") << 5 << "\"{\" without its closing \"}\"";
    QTest::newRow("gift close brace") << BankFormat::Gift << QByteArray("text } {=x ~y}") << 1 << "\"}\" without \"{\"";
    QTest::newRow("gift brace in block") << BankFormat::Gift << QByteArray("q {=x {~y}") << 1 << "\"{\" without its closing \"}\"";
    QTest::newRow("gift close after block") << BankFormat::Gift << QByteArray("q {=x ~y}\n}") << 2 << "\"}\" without \"{\"";
    QTest::newRow("gift title unclosed") << BankFormat::Gift << QByteArray("\n\n::title {=a ~b}") << 3 << "title without its closing \"::\"";
    QTest::newRow("gift answer without marker") << BankFormat::Gift << QByteArray("q {x =a ~b}") << 1 << "an answer must start with \"=\" or \"~\"";
    QTest::newRow("gift one 50 MB line") << BankFormat::Gift << QByteArray(50 * 1024 * 1024, 'x').append("{=a ~b}") << 1 << "question longer than 4194304 characters";
    QTest::newRow("gift too many answers") << BankFormat::Gift << ("q {" + QByteArray("~a").repeated(40000) + "}") << 1 << "more than 32767 answers";
    QTest::newRow("aiken no answer line") << BankFormat::Aiken << QByteArray("Q1\nA. a\nANSWER: A\n\nQ2?\nA. x\nB. y\n") << 5 << "question without an \"ANSWER:\" line";
    QTest::newRow("aiken letter of no option") << BankFormat::Aiken << QByteArray("Q?\nA. a\nB. b\nANSWER: C") << 4 << "\"ANSWER: C\" names no option of the question";
    QTest::newRow("aiken answer first") << BankFormat::Aiken << QByteArray("ANSWER: A") << 1 << "\"ANSWER:\" line without a question";
    QTest::newRow("aiken text after options") << BankFormat::Aiken << QByteArray("Q?\nA. a\nstray\nANSWER: A") << 3 << "expected an option (\"A. ...\") or an \"ANSWER:\" line";
    QTest::newRow("aiken option twice") << BankFormat::Aiken << QByteArray("Q?\nA. a\nA. b\nANSWER: A") << 3 << "option A given twice";
    QTest::newRow("csv unclosed quote") << BankFormat::Csv << QByteArray("question,a,b,answer\nq,x,y,A\n\"open,x,y,A\nmore\n") << 3 << "quoted field without its closing quote";
    QTest::newRow("csv no answer column") << BankFormat::Csv << QByteArray("question,a,b\nq,x,y\n") << 1 << "the header line needs a \"question\", an \"answer\" and option columns (\"A\", \"B\", ...)";
    QTest::newRow("csv letter of no option") << BankFormat::Csv << QByteArray("question\tA\tB\tanswer\nq\tx\ty\tA\nq\tx\t\tB\n") << 3 << "answer \"B\" names no option of the question";
    QTest::newRow("csv gap in options") << BankFormat::Csv << QByteArray("question;A;B;C;answer\nq;x;;z;A\n") << 2 << "option B is empty but a later one is not";
    QTest::newRow("csv no answer") << BankFormat::Csv << QByteArray("question,a,answer\n\"q\nq\",x,\n") << 2 << "no right option in the answer column";
    QTest::newRow("csv empty question") << BankFormat::Csv << QByteArray("question,a,answer\n,x,A\n") << 2 << "empty question";
    QTest::newRow("csv huge record") << BankFormat::Csv << ("question,a,answer\n" + QByteArray(",").repeated(2000)) << 2 << "more than 1024 fields in a record";
}

void BankReadersTest::hostileInputFailsWithLine()
{
    QFETCH(BankFormat, format);
    QFETCH(QByteArray, bytes);
    QFETCH(int, line);
    QFETCH(QString, description);
    Bank bank;
    ReadFailure failure;
    QVERIFY(!ReadBank(format, bytes, bank, failure));
    QCOMPARE(failure.description, description);
    QCOMPARE(failure.location, line);
}

QTEST_MAIN(BankReadersTest)
#include "BankReadersTest.moc"
