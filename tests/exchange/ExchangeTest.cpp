#include "common/TestUtil.h"
#include "exchange/BankFormat.h"
#include "exchange/ExamBuilder.h"
#include "exchange/GiftWriter.h"
#include "exchange/Text.h"
#include "model/Exam.h"

#include <QRandomGenerator>
#include <QTest>

using namespace exchange;

Q_DECLARE_METATYPE(exchange::BankFormat)

namespace {

BankItem Item(const QString& text, std::initializer_list<BankOption> options, const QString& general = QString())
{
    BankItem item;
    item.text = text;
    item.options = options;
    item.generalFeedback = general;
    item.location = 7;
    return item;
}

struct Built
{
    bool ok = false;
    Exam exam;
    QVector<Picture> pictures;
    QVector<BankNote> notes;
    ReadFailure failure;
};

void Build(const Bank& bank, Built& built, bool strict = false)
{
    ImportOptions options = ImportOptions::ForSource(QStringLiteral("/banks/net-basics.gift"));
    options.strict = strict;
    built.ok = BuildExam(bank, options, built.exam, built.pictures, built.notes, built.failure);
}

// Items, options, rightness and explanations as one comparable text; with
// `hint`, each item's hasHint too.
QString Content(const Exam& exam, bool hint = false)
{
    QStringList lines;
    for (const Question& question : exam.Questions()) {
        lines.append(question.Problem().trimmed() + QStringLiteral(" | ") + question.Explaination().trimmed()
            + (hint ? QStringLiteral(" | ") + QString::number(question.HasHint()) : QString()));
        for (const Choice& choice : question.Choices())
            lines.append((choice.IsSolution() ? QStringLiteral("+ ") : QStringLiteral("- ")) + choice.Statement().trimmed());
    }
    return lines.join(u'\n');
}

// A text from pieces that GIFT, HTML and the heuristics around them treat
// specially, with Windows-1252 letters, so the writer's escaping is tried.
QString RandomText(QRandomGenerator& random)
{
    static const QStringList Pieces = { QStringLiteral("word"), QStringLiteral(" "), QStringLiteral("="),
        QStringLiteral("~"), QStringLiteral("#"), QStringLiteral("{"), QStringLiteral("}"), QStringLiteral(":"),
        QStringLiteral("::"), QStringLiteral("\\"), QStringLiteral("\\n"), QStringLiteral("%50%"), QStringLiteral("->"),
        QStringLiteral("<b>"), QStringLiteral("&amp;"), QStringLiteral("[html]"), QStringLiteral("//"),
        QStringLiteral("\n"), QStringLiteral("caf\u00E9"), QStringLiteral("T"), QStringLiteral("####"),
        QStringLiteral("  "), QStringLiteral("\t"), QStringLiteral("$CATEGORY:") };
    QString text;
    const int count = 1 + random.bounded(8);
    for (int i = 0; i < count; ++i)
        text += Pieces[random.bounded(int(Pieces.size()))];
    // Texts are compared trimmed and are never blank in an exam worth exporting.
    return text.trimmed().isEmpty() ? QStringLiteral("x") : text;
}

} // namespace

class ExchangeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decodeText_data();
    void decodeText();
    void htmlToPlainText_data();
    void htmlToPlainText();
    void detectFormat_data();
    void detectFormat();
    void buildAppliesTheExamRules();
    void buildRefuses_data();
    void buildRefuses();
    void pictures_data();
    void pictures();
    void giftRoundTripKeepsContent_data();
    void giftRoundTripKeepsContent();
};

// UTF-8 with and without BOM, UTF-16 with either BOM and Windows-1252 are
// read through every reader with its sample (test_bankreaders); here the edges.
void ExchangeTest::decodeText_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");
    const QString cafe = QStringLiteral("caf\u00E9 \u20AC");
    QTest::newRow("windows-1252") << QByteArray("caf\xE9 \x80") << cafe;
    QTest::newRow("windows-1252 undefined byte") << QByteArray("a\x81z") << QStringLiteral("a\u0081z");
    QTest::newRow("utf-8 cut in a sequence") << QByteArray("caf\xC3") << QStringLiteral("caf\u00C3");
    QTest::newRow("empty") << QByteArray() << QString();
}

void ExchangeTest::decodeText()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);
    QCOMPARE(DecodeText(bytes), text);
}

void ExchangeTest::htmlToPlainText_data()
{
    QTest::addColumn<QString>("html");
    QTest::addColumn<QString>("text");
    QTest::newRow("paragraphs and breaks") << "<p>One</p><p>Two<br>Three</p>" << "One\nTwo\nThree";
    QTest::newRow("entities") << "a &lt;b&gt; &amp; caf&eacute; &#8364; &#x41;&nbsp;z" << "a <b> & caf\u00E9 \u20AC A z";
    QTest::newRow("tags dropped") << "<div><b>bold</b> <i>it</i></div>" << "bold it";
    QTest::newRow("picture leaves no trace") << "<p>See <img src=\"x.png\"> this</p>" << "See  this";
    QTest::newRow("script and style") << "<style>p{}</style><script>alert(1)</script><p>text</p>" << "text";
    QTest::newRow("list items") << "<ul><li>a</li><li>b</li></ul>" << "a\nb";
    QTest::newRow("blanks at the ends") << "  <p>  x  </p>  " << "x";
    QTest::newRow("unclosed tags") << "<p><b>x" << "x";
}

void ExchangeTest::htmlToPlainText()
{
    QFETCH(QString, html);
    QFETCH(QString, text);
    QCOMPARE(HtmlToPlainText(html), text);
}

// Each sample is detected as its format in test_bankreaders; here the look-alikes.
void ExchangeTest::detectFormat_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<BankFormat>("format");
    QTest::newRow("moodle xml") << QByteArray("\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!-- bank -->\n<quiz><question/></quiz>") << BankFormat::MoodleXml;
    QTest::newRow("qti prefixed") << QByteArray("<qti:assessmentItem xmlns:qti=\"http://www.imsglobal.org/xsd/imsqti_v2p1\"/>") << BankFormat::Qti;
    QTest::newRow("other zip") << QByteArray("PK\x03\x04....content.xml") << BankFormat::Gift;
    QTest::newRow("other xml") << QByteArray("<html><body>{=a ~b}</body></html>") << BankFormat::Gift;
    QTest::newRow("csv comma") << QByteArray("Question,A,B,Answer\nq,a,b,A\n") << BankFormat::Csv;
    QTest::newRow("csv quoted tab") << QByteArray("\"question\"\t\"a\"\t\"answers\"\n") << BankFormat::Csv;
    QTest::newRow("aiken") << QByteArray("Q?\r\nA. x\r\nB. y\r\nANSWER: B\r\n") << BankFormat::Aiken;
    QTest::newRow("gift mentioning answers") << QByteArray("Q: the answer: A? {T}") << BankFormat::Gift;
    QTest::newRow("empty") << QByteArray() << BankFormat::Gift;
}

void ExchangeTest::detectFormat()
{
    QFETCH(QByteArray, bytes);
    QFETCH(BankFormat, format);
    QCOMPARE(DetectFormat(bytes), format);
    QCOMPARE(ParseBankFormat(BankFormatName(format)), format);
}

void ExchangeTest::buildAppliesTheExamRules()
{
    Bank bank;
    bank.items = {
        Item(QStringLiteral("Pick two"), { { QStringLiteral("a"), true, QStringLiteral("yes") }, { QStringLiteral("b"), false, {} },
            { QStringLiteral("c \u2192 \U0001F600"), true, QStringLiteral("also") } }, QStringLiteral("General.")),
        Item(QStringLiteral("None right \u0394"), { { QStringLiteral("x"), false, {} } }),
        Item(QStringLiteral("Only option feedback"), { { QStringLiteral("x"), false, {} }, { QStringLiteral("y"), true, QStringLiteral("fb") } }),
    };
    bank.items[1].extraPictures = 2;
    bank.Skip(3, QStringLiteral("essay"), QStringLiteral("E"));
    Built built;
    Build(bank, built);
    QVERIFY(built.ok);
    const Exam& exam = built.exam;
    QCOMPARE(exam.Code(), QStringLiteral("NET-BASICS"));
    QCOMPARE(exam.Name(), QStringLiteral("net-basics"));
    QCOMPARE(exam.MaxScore(), qint16(1000));
    QCOMPARE(exam.PassScore(), qint16(700));
    QCOMPARE(exam.Duration(), qint16(3));
    QCOMPARE(Content(exam, true), QStringLiteral("Pick two | General.\nA. yes\nC. also | 1\n+ a\n- b\n+ c \u2192 \U0001F600\n"
                                           "None right \u0394 |  | 0\n- x\n"
                                           "Only option feedback | B. fb | 0\n- x\n+ y"));
    QCOMPARE(exam.Questions().Item(1).SolutionCount(), qint16(2));
    QStringList notes;
    for (const BankNote& note : built.notes)
        notes.append(QString::number(note.location) + u' ' + note.text);
    QCOMPARE(notes, QStringList({ QStringLiteral("7 item 1: 2 character(s) that Windows-1252 cannot hold became \"?\""),
                        QStringLiteral("7 item 2 has no right option"),
                        QStringLiteral("7 item 2: 1 character(s) that Windows-1252 cannot hold became \"?\""),
                        QStringLiteral("7 item 2: 2 more picture(s) dropped, an item shows one") }));
    QVERIFY(built.pictures.isEmpty());
}

void ExchangeTest::buildRefuses_data()
{
    QTest::addColumn<int>("items");
    QTest::addColumn<bool>("skip");
    QTest::addColumn<bool>("strict");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("failure");
    QTest::newRow("no item") << 0 << true << false << "C" << "0 no question the exam file can hold";
    QTest::newRow("strict skip") << 1 << true << true << "C" << "12 skipped essay question \"Describe\"";
    QTest::newRow("strict without skips builds") << 1 << false << true << "C" << "";
    QTest::newRow("too many items") << 32768 << false << false << "C" << "0 32768 items, more than the 32767 an exam file holds";
    QTest::newRow("code with a slash") << 1 << false << false << "../x" << "0 the code \"../x\" cannot name exhibit files";
    QTest::newRow("empty code") << 1 << false << false << "" << "0 the code \"\" cannot name exhibit files";
}

void ExchangeTest::buildRefuses()
{
    QFETCH(int, items);
    QFETCH(bool, skip);
    QFETCH(bool, strict);
    QFETCH(QString, code);
    QFETCH(QString, failure);
    Bank bank;
    bank.items.fill(Item(QStringLiteral("q"), { { QStringLiteral("a"), true, {} } }), items);
    bank.Warn(4, QStringLiteral("not a skip"));
    if (skip)
        bank.Skip(12, QStringLiteral("essay"), QStringLiteral("Describe"));
    ImportOptions options;
    options.code = code;
    options.strict = strict;
    Exam exam;
    QVector<Picture> pictures;
    QVector<BankNote> notes;
    ReadFailure result;
    const bool ok = BuildExam(bank, options, exam, pictures, notes, result);
    QCOMPARE(ok, failure.isEmpty());
    if (!ok)
        QCOMPARE(QString::number(result.location) + u' ' + result.description, failure);
}

// The exhibit takes the picture's real format, whatever the source called it;
// bytes that are not a whole picture stop the import.
void ExchangeTest::pictures_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("exhibit");
    const QByteArray gif = TestUtil::ReadAll(QStringLiteral(TEST_DATA_DIR "/exhibit.gif"));
    QTest::newRow("gif") << gif << "NET-BASICS-2.gif";
    QTest::newRow("png") << QByteArray::fromBase64("iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8DwHwAFBQIAX8jx0gAAAABJRU5ErkJggg==") << "NET-BASICS-2.png";
    QTest::newRow("truncated gif") << gif.left(20) << "";
    QTest::newRow("text") << QByteArray("<svg/> not a picture") << "";
    QTest::newRow("png signature only") << QByteArray("\x89PNG\r\n\x1A\n") << "";
}

void ExchangeTest::pictures()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, exhibit);
    Bank bank;
    bank.items = { Item(QStringLiteral("a"), { { QStringLiteral("x"), true, {} } }), Item(QStringLiteral("b"), { { QStringLiteral("y"), true, {} } }) };
    bank.items[1].picture = bytes;
    Built built;
    Build(bank, built);
    QCOMPARE(built.ok, !exhibit.isEmpty());
    if (!built.ok) {
        QCOMPARE(built.failure.location, 7);
        QCOMPARE(built.failure.description, QStringLiteral("item 2: the picture is not a PNG, GIF, JPEG or BMP picture"));
        return;
    }
    QCOMPARE(built.exam.Questions().Item(1).Exhibit(), QString());
    QCOMPARE(built.exam.Questions().Item(2).Exhibit(), exhibit);
    QCOMPARE(built.pictures.size(), 1);
    QCOMPARE(built.pictures[0].fileName, exhibit);
    QCOMPARE(built.pictures[0].bytes, bytes);
}

// Writing an exam as GIFT and reading it back gives the same items, options,
// solutions and explanations: the sample exam and generated ones whose texts
// are made of GIFT's and HTML's special characters.
void ExchangeTest::giftRoundTripKeepsContent_data()
{
    QTest::addColumn<int>("seed");
    QTest::newRow("sample") << 0;
    for (int seed = 1; seed <= 60; ++seed)
        QTest::addRow("generated %d", seed) << seed;
}

void ExchangeTest::giftRoundTripKeepsContent()
{
    QFETCH(int, seed);
    Exam exam;
    if (seed == 0) {
        exam.Load(QStringLiteral(SAMPLE_EXAM));
        QVERIFY(exam.Questions().Count() > 0);
    } else {
        QRandomGenerator random(seed);
        const int items = 1 + random.bounded(6);
        for (int i = 1; i <= items; ++i) {
            Question& question = *exam.Questions().Add();
            question.SetNumber(qint16(i));
            question.SetProblem(RandomText(random));
            question.SetExplaination(random.bounded(2) ? RandomText(random) : QString());
            if (random.bounded(4) == 0)
                question.SetExhibit(QStringLiteral("X-%1.gif").arg(i));
            const int options = 1 + random.bounded(5);
            for (int k = 1; k <= options; ++k) {
                Choice& choice = *question.Choices().Add();
                choice.SetNumber(qint16(k));
                choice.SetStatement(RandomText(random));
                choice.SetIsSolution(random.bounded(2));
            }
            question.CalculateSolutionCount();
            question.SetHasHint(question.SolutionCount() > 1);
        }
    }
    const QByteArray gift = WriteGift(exam);
    Bank bank;
    ReadFailure failure;
    QVERIFY2(ReadBank(BankFormat::Gift, gift, bank, failure), qPrintable(failure.description + u'\n' + QString::fromUtf8(gift)));
    QCOMPARE(bank.skipped, 0);
    Built built;
    Build(bank, built);
    QVERIFY(built.ok);
    QCOMPARE(Content(built.exam), Content(exam));
}

QTEST_GUILESS_MAIN(ExchangeTest)
#include "ExchangeTest.moc"
