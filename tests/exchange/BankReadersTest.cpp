#include "common/TestUtil.h"
#include "exchange/BankFormat.h"
#include "exchange/GuardedXml.h"
#include "exchange/MoodleXml.h"
#include "exchange/ZipArchive.h"
#include "tests/exchange/BankOutline.h"

#include <QStringDecoder>
#include <QTest>

#include <archive.h>
#include <archive_entry.h>

using namespace exchange;

Q_DECLARE_METATYPE(exchange::BankFormat)

namespace {

QString Sample(const QString& name)
{
    return QStringLiteral(TEST_DATA_DIR "/banks/") + name;
}

// A zip written in memory with `count` entries of one byte.
QByteArray ZipWithEntries(int count)
{
    QByteArray out(count * 200 + 4096, '\0');
    size_t used = 0;
    archive* zip = archive_write_new();
    archive_write_set_format_zip(zip);
    archive_write_open_memory(zip, out.data(), size_t(out.size()), &used);
    for (int i = 0; i < count; ++i) {
        archive_entry* entry = archive_entry_new();
        archive_entry_set_pathname(entry, QByteArray::number(i).constData());
        archive_entry_set_filetype(entry, AE_IFREG);
        archive_entry_set_perm(entry, 0644);
        archive_entry_set_size(entry, 1);
        archive_write_header(zip, entry);
        archive_write_data(zip, "x", 1);
        archive_entry_free(entry);
    }
    archive_write_free(zip);
    return out.left(qsizetype(used));
}

} // namespace

class BankReadersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Each sample, detected by content and in every encoding a text bank comes in, reads as its outline
    // (tests/data/banks/*.outline, checked by hand).
    void samplesReadAsOutlined_data()
    {
        QTest::addColumn<QString>("sample");
        QTest::addColumn<BankFormat>("format");
        QTest::addColumn<QString>("encoding");
        for (const auto& [name, format] : { std::pair { "networking.gift", BankFormat::Gift },
                 std::pair { "networking.aiken.txt", BankFormat::Aiken }, std::pair { "networking.csv", BankFormat::Csv } }) {
            for (const char* encoding : { "as is", "utf-8 bom", "utf-16le bom", "utf-16be bom", "crlf" })
                QTest::addRow("%s %s", name, encoding) << QString::fromLatin1(name) << format << QString::fromLatin1(encoding);
        }
        // Windows-1252 cannot hold the GIFT sample's arrow; the others are ASCII.
        QTest::newRow("aiken windows-1252") << QStringLiteral("networking.aiken.txt") << BankFormat::Aiken << QStringLiteral("windows-1252");
        // XML says its own encoding, and a package is a zip: read as they are (the text samples are UTF-8).
        QTest::newRow("moodle xml") << QStringLiteral("moodle-networking.xml") << BankFormat::MoodleXml << QStringLiteral("as is");
        QTest::newRow("qti item") << QStringLiteral("qti-item-choice.xml") << BankFormat::Qti << QStringLiteral("as is");
        QTest::newRow("qti package") << QStringLiteral("qti-package.zip") << BankFormat::Qti << QStringLiteral("as is");
    }

    void samplesReadAsOutlined()
    {
        QFETCH(QString, sample);
        QFETCH(BankFormat, format);
        QFETCH(QString, encoding);
        QByteArray bytes = TestUtil::ReadAll(Sample(sample));
        const QString text = QString::fromUtf8(bytes);
        QVERIFY(!text.isEmpty());
        if (encoding == "utf-8 bom")
            bytes.prepend("\xEF\xBB\xBF");
        else if (encoding == "crlf")
            bytes = QString(text).replace("\r\n", "\n").replace(u'\n', "\r\n").toUtf8();
        else if (encoding == "windows-1252") // bytes that are not UTF-8
            bytes = text.toLatin1() + QByteArray("\nSmart \x93quotes\x94 \x97 dash?\nA. yes\nB. no\nANSWER: A\n");
        else if (encoding.startsWith("utf-16"))
            bytes = QStringEncoder(encoding == "utf-16le bom" ? QStringConverter::Utf16LE : QStringConverter::Utf16BE, QStringConverter::Flag::WriteBom)
                        .encode(text);
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

    // A source that cannot be read stops at the first fault, with its line (for QTI the item's place, 0 for the
    // package); the XML readers keep nothing read before it.
    void hostileInputFailsWithLine_data()
    {
        QTest::addColumn<BankFormat>("format");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("line");
        QTest::addColumn<QString>("description"); // part of it
        const auto row = [](const char* tag, BankFormat format, const QByteArray& bytes, int line, const QString& description) {
            QTest::newRow(tag) << format << bytes << line << description;
        };
        using F = BankFormat;
        row("gift open brace", F::Gift, "::a::ok {=x ~y}\n\n// c\n::b::\ntext {=x ~y\n~z\n", 5, "\"{\" without its closing \"}\"");
        row("gift close brace", F::Gift, "text } {=x ~y}", 1, "\"}\" without \"{\"");
        row("gift title unclosed", F::Gift, "\n\n::title {=a ~b}", 3, "title without its closing \"::\"");
        row("gift answer without marker", F::Gift, "q {x =a ~b}", 1, "an answer must start with \"=\" or \"~\"");
        row("gift one 50 MB line", F::Gift, QByteArray(50 * 1024 * 1024, 'x').append("{=a ~b}"), 1, "question longer than 4194304 characters");
        row("gift too many answers", F::Gift, "q {" + QByteArray("~a").repeated(40000) + "}", 1, "more than 32767 answers");
        row("aiken no answer line", F::Aiken, "Q1\nA. a\nANSWER: A\n\nQ2?\nA. x\nB. y\n", 5, "question without an \"ANSWER:\" line");
        row("aiken letter of no option", F::Aiken, "Q?\nA. a\nB. b\nANSWER: C", 4, "\"ANSWER: C\" names no option of the question");
        row("aiken answer first", F::Aiken, "ANSWER: A", 1, "\"ANSWER:\" line without a question");
        row("aiken text after options", F::Aiken, "Q?\nA. a\nstray\nANSWER: A", 3, "expected an option (\"A. ...\") or an \"ANSWER:\" line");
        row("aiken option twice", F::Aiken, "Q?\nA. a\nA. b\nANSWER: A", 3, "option A given twice");
        row("csv unclosed quote", F::Csv, "question,a,b,answer\nq,x,y,A\n\"open,x,y,A\nmore\n", 3, "quoted field without its closing quote");
        row("csv no answer column", F::Csv, "question,a,b\nq,x,y\n", 1, "the header line needs a \"question\", an \"answer\" and option columns (\"A\", \"B\", ...)");
        row("csv letter of no option", F::Csv, "question\tA\tB\tanswer\nq\tx\ty\tA\nq\tx\t\tB\n", 3, "answer \"B\" names no option of the question");
        row("csv gap in options", F::Csv, "question;A;B;C;answer\nq;x;;z;A\n", 2, "option B is empty but a later one is not");
        row("csv no answer", F::Csv, "question,a,answer\n\"q\nq\",x,\n", 2, "no right option in the answer column");
        row("csv empty question", F::Csv, "question,a,answer\n,x,A\n", 2, "empty question");
        row("csv huge record", F::Csv, "question,a,answer\n" + QByteArray(",").repeated(2000), 2, "more than 1024 fields in a record");

        const QByteArray head = "<?xml version=\"1.0\"?>\n";
        row("moodle entity bomb", F::MoodleXml, TestUtil::ReadAll(Sample("moodle-entity-bomb.xml")), 6, "document type declaration");
        row("moodle deep nesting", F::MoodleXml, head + "<quiz>\n<question type=\"essay\">" + QByteArray("<a>").repeated(100), 3, "nested more than 64");
        const QByteArray file = head + "<quiz>\n<question type=\"multichoice\"><questiontext><text>Q</text>\n<file name=\"a.png\" "
            "encoding=\"%1\">%2</file></questiontext><answer fraction=\"100\"><text>A</text></answer></question></quiz>";
        row("moodle base64 that is not", F::MoodleXml, QByteArray(file).replace("%1", "base64").replace("%2", "iVBOR*w0KGgo="), 4, "not valid base64");
        row("moodle picture that is not", F::MoodleXml, QByteArray(file).replace("%1", "base64").replace("%2", "aGVsbG8gd29ybGQ="), 4, "is not a picture");
        row("moodle file not in base64", F::MoodleXml, QByteArray(file).replace("%1", "uuencode").replace("%2", "x"), 4, "not base64");
        row("moodle not a quiz", F::MoodleXml, head + "<html><body/></html>", 2, "not a Moodle XML <quiz>");
        const QByteArray moodle = TestUtil::ReadAll(Sample("moodle-networking.xml"));
        row("moodle cut short", F::MoodleXml, moodle.left(moodle.indexOf("<!-- question: 104")), 78, "not well-formed");
        row("moodle text beyond the cap", F::MoodleXml, head + "<quiz>\n<question><questiontext><text>" + QByteArray(GuardedXml::MaxTextChars + 1, 'x')
            + "</text></questiontext></question></quiz>", 3, "longer than");
        row("moodle more questions than an exam holds", F::MoodleXml, head + "<quiz>\n"
            + QByteArray("<question><questiontext><text>Q</text></questiontext><answer fraction=\"1\"><text>A</text></answer></question>\n")
                  .repeated(MaxMoodleItems + 1) + "</quiz>", MaxMoodleItems + 3, "more than 32767 questions");

        const auto zip = [](const char* name) { return TestUtil::ReadAll(Sample(name)); };
        row("qti dot-dot path", F::Qti, zip("qti-dotdot.zip"), 0, "\"../evil.gif\" points outside the archive");
        row("qti absolute path", F::Qti, zip("qti-absolute.zip"), 0, "\"/tmp/evil.gif\" points outside the archive");
        row("qti symbolic link", F::Qti, zip("qti-symlink.zip"), 0, "is a link or a device");
        row("qti 1 GiB declared", F::Qti, zip("qti-huge-declared.zip"), 0, "larger than 32 MiB");
        row("qti inflates past its size", F::Qti, zip("qti-bomb.zip"), 0, "larger than 32 MiB");
        row("qti too many entries", F::Qti, ZipWithEntries(ZipArchive::MaxEntries + 1), 0, "more than 10000 entries");
        row("qti no manifest", F::Qti, zip("qti-no-manifest.zip"), 0, "no imsmanifest.xml");
        row("qti listed item missing", F::Qti, zip("qti-missing-item.zip"), 1, "lists \"items/route.xml\" but does not hold it");
        row("qti picture that is not", F::Qti, zip("qti-not-a-picture.zip"), 1, "\"images/routes.gif\" is not a picture");
        row("qti damaged zip", F::Qti, zip("qti-package.zip").left(1200), 0, "zip");
        row("qti not an item", F::Qti, "<assessmentTest/>", 1, "not a QTI assessmentItem");
            }

    void hostileInputFailsWithLine()
    {
        QFETCH(BankFormat, format);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, description);
        Bank bank;
        ReadFailure failure;
        QVERIFY(!ReadBank(format, bytes, bank, failure));
        QVERIFY2(failure.description.contains(description), qPrintable(failure.description));
        QTEST(failure.location, "line");
        if (format == BankFormat::MoodleXml || format == BankFormat::Qti)
            QVERIFY(bank.items.isEmpty() && bank.notes.isEmpty());
    }
};

QTEST_MAIN(BankReadersTest)
#include "BankReadersTest.moc"
