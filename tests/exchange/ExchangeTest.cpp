#include "common/TestUtil.h"
#include "exchange/BankFormat.h"
#include "exchange/ExamBuilder.h"
#include "exchange/GiftWriter.h"
#include "exchange/MoodleXml.h"
#include "exchange/Text.h"
#include "model/Exam.h"

#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using namespace exchange;

Q_DECLARE_METATYPE(exchange::BankFormat)

namespace {

BankItem Item(const QString& text, std::initializer_list<BankOption> options, const QString& general = QString())
{
    return { .text = text, .options = options, .generalFeedback = general, .picture = {}, .extraPictures = 0, .location = 7 };
}

struct Built
{
    bool ok = false;
    Exam exam;
    QVector<Picture> pictures;
    QVector<BankNote> notes;
    ReadFailure failure;
};

void Build(const Bank& bank, Built& built, bool strict = false, const QString& code = QStringLiteral("NET-BASICS"))
{
    ImportOptions options = ImportOptions::ForSource(QStringLiteral("/banks/net-basics.gift"));
    options.strict = strict;
    options.code = code;
    built.ok = BuildExam(bank, options, built.exam, built.pictures, built.notes, built.failure);
}

// Items, options, rightness and explanations as one comparable text; with `hint`, each item's hasHint too.
QString Content(const Exam& exam, bool hint = false)
{
    QStringList lines;
    for (const Question& question : exam.Questions()) {
        lines.append(question.Problem().trimmed() + " | " + question.Explaination().trimmed() + (hint ? " | " + QString::number(question.HasHint()) : ""));
        for (const Choice& choice : question.Choices())
            lines.append((choice.IsSolution() ? QStringLiteral("+ ") : QStringLiteral("- ")) + choice.Statement().trimmed());
    }
    return lines.join(u'\n');
}

// A text from pieces that GIFT, XML, HTML and the heuristics around them treat specially, with Windows-1252 letters, so
// the writers' escaping is tried.
QString RandomText(QRandomGenerator& random)
{
    static const QStringList Pieces = { "word", " ", "=", "~", "#", "{", "}", ":", "::", "\\", "\\n", "%50%", "->", "<b>",
        "&amp;", "[html]", "//", "\n", "caf\u00E9", "\u20AC", "T", "####", "  ", "\t", "$CATEGORY:", "]]>", "\"q\"",
        "@@PLUGINFILE@@" };
    QString text;
    for (int i = 0, count = 1 + random.bounded(8); i < count; ++i)
        text += Pieces[random.bounded(int(Pieces.size()))];
    // Texts are compared trimmed and are never blank in an exam worth exporting.
    return text.trimmed().isEmpty() ? QStringLiteral("x") : text;
}

} // namespace

class ExchangeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Bytes as the readers take them: decoded (UTF-8 with and without BOM, UTF-16 with either BOM and Windows-1252
    // are read through every reader with its sample in test_bankreaders; here the edges), HTML made plain (what the
    // document classes do beyond paragraphs and entities is theirs), and the format told by content (each sample's
    // in test_bankreaders; here the look-alikes).
    void bytes_data()
    {
        QTest::addColumn<QString>("as"); // text, html or format
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("result");
        QTest::newRow("windows-1252") << "text" << QByteArray("caf\xE9 \x80") << "caf\u00E9 \u20AC";
        QTest::newRow("windows-1252 undefined byte") << "text" << QByteArray("a\x81z") << "a\u0081z";
        QTest::newRow("utf-8 cut in a sequence") << "text" << QByteArray("caf\xC3") << "caf\u00C3";
        QTest::newRow("empty") << "text" << QByteArray() << "";
        QTest::newRow("paragraphs and breaks") << "html" << QByteArray("<p>One</p><p>Two<br>Three</p>") << "One\nTwo\nThree";
        QTest::newRow("entities") << "html" << QByteArray("a &lt;b&gt; &amp; caf&eacute; &#8364; &#x41;&nbsp;z") << "a <b> & caf\u00E9 \u20AC A z";
        QTest::newRow("picture leaves no trace") << "html" << QByteArray("<p>See <img src=\"x.png\"> this</p>") << "See  this";
        QTest::newRow("blanks at the ends") << "html" << QByteArray("  <p>  x  </p>  ") << "x";
        QTest::newRow("moodle xml") << "format" << QByteArray("\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!-- bank -->\n<quiz><question/></quiz>") << "moodle-xml";
        QTest::newRow("qti prefixed") << "format" << QByteArray("<qti:assessmentItem xmlns:qti=\"http://www.imsglobal.org/xsd/imsqti_v2p1\"/>") << "qti";
        QTest::newRow("other zip") << "format" << QByteArray("PK\x03\x04....content.xml") << "gift";
        QTest::newRow("other xml") << "format" << QByteArray("<html><body>{=a ~b}</body></html>") << "gift";
        QTest::newRow("csv comma") << "format" << QByteArray("Question,A,B,Answer\nq,a,b,A\n") << "csv";
        QTest::newRow("csv quoted tab") << "format" << QByteArray("\"question\"\t\"a\"\t\"answers\"\n") << "csv";
        QTest::newRow("aiken") << "format" << QByteArray("Q?\r\nA. x\r\nB. y\r\nANSWER: B\r\n") << "aiken";
        QTest::newRow("gift mentioning answers") << "format" << QByteArray("Q: the answer: A? {T}") << "gift";
        QTest::newRow("no bytes") << "format" << QByteArray() << "gift";
    }

    void bytes()
    {
        QFETCH(QString, as);
        QFETCH(QByteArray, bytes);
        QTEST(as == "text" ? DecodeText(bytes) : as == "html" ? HtmlToPlainText(QString::fromUtf8(bytes)) : BankFormatName(DetectFormat(bytes)), "result");
    }

    void buildAppliesTheExamRules()
    {
        Bank bank;
        bank.items = { Item("Pick two", { { "a", true, "yes" }, { "b", false, {} }, { "c \u2192 \U0001F600", true, "also" } }, "General."),
            Item("None right \u0394", { { "x", false, {} } }), Item("Only option feedback", { { "x", false, {} }, { "y", true, "fb" } }) };
        bank.items[1].extraPictures = 2;
        bank.Skip(3, "essay", "E");
        Built built;
        Build(bank, built);
        QVERIFY(built.ok);
        const Exam& exam = built.exam;
        QCOMPARE(exam.Duration(), qint16(3)); // the other defaults are the tool's test
        QCOMPARE(Content(exam, true), QStringLiteral("Pick two | General.\nA. yes\nC. also | 1\n+ a\n- b\n+ c \u2192 \U0001F600\n"
                                               "None right \u0394 |  | 0\n- x\n"
                                               "Only option feedback | B. fb | 0\n- x\n+ y"));
        QCOMPARE(exam.Questions().Item(1).SolutionCount(), qint16(2));
        QStringList notes;
        for (const BankNote& note : built.notes)
            notes.append(QString::number(note.location) + u' ' + note.text);
        QCOMPARE(notes.join('\n'), "7 item 1: 2 character(s) that Windows-1252 cannot hold became \"?\"\n7 item 2 has no right option\n"
                                   "7 item 2: 1 character(s) that Windows-1252 cannot hold became \"?\"\n"
                                   "7 item 2: 2 more picture(s) dropped, an item shows one");
        QVERIFY(built.pictures.isEmpty());
    }

    // What stops a build, with the source's line and why; the exhibit takes the
    // picture's real format, whatever the source called it, and bytes that are
    // not a whole picture stop the import.
    void buildRefuses_data()
    {
        QTest::addColumn<int>("items");
        QTest::addColumn<bool>("skip");
        QTest::addColumn<bool>("strict");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QByteArray>("picture"); // of item 2
        QTest::addColumn<QString>("result"); // "ok" and item 2's exhibit, else the failure's line and text
        const QString code = "NET-BASICS";
        QTest::newRow("no item") << 0 << true << false << code << QByteArray() << "0 no question the exam file can hold";
        QTest::newRow("strict skip") << 1 << true << true << code << QByteArray() << "12 skipped essay question \"Describe\"";
        QTest::newRow("strict without skips builds") << 1 << false << true << code << QByteArray() << "ok ";
        QTest::newRow("too many items") << 32768 << false << false << code << QByteArray()
                                        << "0 32768 items, more than the 32767 an exam file holds";
        QTest::newRow("code with a slash") << 1 << false << false << "../x" << QByteArray() << "0 the code \"../x\" cannot name exhibit files";
        QTest::newRow("empty code") << 1 << false << false << "" << QByteArray() << "0 the code \"\" cannot name exhibit files";
        const QByteArray gif = TestUtil::ReadAll(QStringLiteral(TEST_DATA_DIR "/exhibit.gif"));
        const QString notPicture = "7 item 2: the picture is not a PNG, GIF, JPEG or BMP picture";
        QTest::newRow("gif") << 2 << false << false << code << gif << "ok NET-BASICS-2.gif";
        QTest::newRow("png") << 2 << false << false << code << QByteArray::fromBase64("iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8DwHwAFBQIAX8jx0gAAAABJRU5ErkJggg==") << "ok NET-BASICS-2.png";
        QTest::newRow("truncated gif") << 2 << false << false << code << gif.left(20) << notPicture;
        QTest::newRow("text") << 2 << false << false << code << QByteArray("<svg/> not a picture") << notPicture;
        QTest::newRow("png signature only") << 2 << false << false << code << QByteArray("\x89PNG\r\n\x1A\n") << notPicture;
    }

    void buildRefuses()
    {
        QFETCH(int, items);
        QFETCH(QByteArray, picture);
        Bank bank;
        bank.items.fill(Item(QStringLiteral("q"), { { QStringLiteral("a"), true, {} } }), items);
        if (!picture.isEmpty())
            bank.items[1].picture = picture;
        bank.Warn(4, QStringLiteral("not a skip"));
        if (QFETCH(bool, skip); skip)
            bank.Skip(12, QStringLiteral("essay"), QStringLiteral("Describe"));
        QFETCH(bool, strict);
        QFETCH(QString, code);
        Built built;
        Build(bank, built, strict, code);
        const QString exhibit = built.ok && built.exam.Questions().Count() > 1 ? built.exam.Questions().Item(2).Exhibit() : QString();
        QTEST(built.ok ? "ok " + exhibit : QString::number(built.failure.location) + u' ' + built.failure.description, "result");
        QCOMPARE(built.pictures.size(), exhibit.isEmpty() ? 0 : 1);
        if (!exhibit.isEmpty())
            QVERIFY(built.pictures[0].fileName == exhibit && built.pictures[0].bytes == picture);
    }

    // Writing an exam as GIFT or Moodle XML and importing it back gives the same items, options, solutions and
    // explanations, and Moodle XML the pictures: the sample exam and generated ones made of the formats' special
    // characters.
    void roundTripKeepsContent_data()
    {
        QTest::addColumn<BankFormat>("format");
        QTest::addColumn<int>("seed"); // 0: the sample exam
        for (const BankFormat format : { BankFormat::Gift, BankFormat::MoodleXml }) {
            for (int seed = 0; seed <= 40; ++seed)
                QTest::addRow("%s %d", qPrintable(BankFormatName(format)), seed) << format << seed;
        }
    }

    void roundTripKeepsContent()
    {
        QFETCH(BankFormat, format);
        QFETCH(int, seed);
        QTemporaryDir folder;
        QString exhibits = folder.path();
        Exam exam;
        if (seed == 0) {
            exam.Load(QStringLiteral(SAMPLE_EXAM));
            exhibits = QFileInfo(QStringLiteral(SAMPLE_EXAM)).path();
        } else {
            QVERIFY(QFile::copy(TEST_DATA_DIR "/exhibit.gif", folder.filePath("pic.gif")));
            QRandomGenerator random(seed);
            for (int i = 1, items = 1 + random.bounded(8); i <= items; ++i) {
                Question& question = *exam.Questions().Add();
                question.SetNumber(qint16(i));
                question.SetProblem(RandomText(random));
                question.SetExplaination(random.bounded(2) ? RandomText(random) : QString());
                question.SetExhibit(random.bounded(4) ? QString() : QStringLiteral("pic.gif"));
                for (int k = 1, options = 1 + random.bounded(6); k <= options; ++k) {
                    Choice& choice = *question.Choices().Add();
                    choice.SetNumber(qint16(k));
                    choice.SetStatement(RandomText(random));
                    choice.SetIsSolution(random.bounded(2));
                }
                question.CalculateSolutionCount();
                question.SetHasHint(question.SolutionCount() > 1);
            }
        }
        QStringList warnings;
        const QByteArray written = format == BankFormat::Gift ? WriteGift(exam) : WriteMoodleXml(exam, exhibits, &warnings);
        QVERIFY2(warnings.isEmpty(), qPrintable(warnings.join('\n')));
        Bank bank;
        ReadFailure failure;
        QVERIFY2(ReadBank(format, written, bank, failure), qPrintable(failure.description + u'\n' + QString::fromUtf8(written)));
        QCOMPARE(bank.skipped, 0);
        Built built;
        Build(bank, built);
        QVERIFY(built.ok);
        QCOMPARE(Content(built.exam), Content(exam));
        if (format == BankFormat::Gift)
            return;
        qsizetype pictures = 0;
        for (const Question& question : exam.Questions()) {
            if (question.HasExhibit())
                QCOMPARE(built.pictures.value(pictures++).bytes, TestUtil::ReadAll(exhibits + "/" + question.Exhibit()));
        }
        QCOMPARE(built.pictures.size(), pictures);
    }
};

QTEST_GUILESS_MAIN(ExchangeTest)
#include "ExchangeTest.moc"
