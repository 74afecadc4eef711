#include "common/TestUtil.h"
#include "exchange/GuardedXml.h"
#include "exchange/MoodleXml.h"
#include "exchange/Qti.h"
#include "exchange/ZipArchive.h"
#include "model/Exam.h"
#include "tools/practorium-exam/ExamJson.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <archive.h>
#include <archive_entry.h>

using namespace exchange;

namespace {

QString Banks() { return QStringLiteral(TEST_DATA_DIR "/banks/"); }

// "Router*|Switch|Hub": option texts, "*" after a solution.
QString Options(const BankItem& item)
{
    QStringList parts;
    for (const BankOption& option : item.options)
        parts.append(option.text + (option.isSolution ? "*" : ""));
    return parts.join('|');
}

QString Feedbacks(const BankItem& item)
{
    QStringList parts;
    for (const BankOption& option : item.options)
        parts.append(option.feedback);
    return parts.join('|');
}

QStringList Notes(const Bank& bank)
{
    QStringList notes;
    for (const BankNote& note : bank.notes)
        notes.append(QString::number(note.location) + ": " + note.text);
    return notes;
}

// A zip written in memory with `count` small entries.
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
    archive_write_close(zip);
    archive_write_free(zip);
    out.truncate(qsizetype(used));
    return out;
}

} // namespace

class XmlBankTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void moodleSample_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("text"); // simplified: paragraph breaks vary with the HTML
        QTest::addColumn<QString>("options");
        QTest::addColumn<QString>("feedbacks");
        QTest::addColumn<QString>("general");
        QTest::addColumn<QString>("picture");
        QTest::addColumn<int>("extraPictures");
        QTest::addColumn<int>("line");
        QTest::newRow("html, picture, negative fraction") << 0
            << "Which device forwards packets between networks? Look at the exhibit & choose one."
            << "Router*|Switch|Hub" << "Right: it routes.||" << "A router joins networks. Switches stay inside one."
            << "gif" << 0 << 10;
        QTest::newRow("multiple answer, plain formats") << 1 << "Which ranges are private? (Choose two.)"
            << "10.0.0.0/8*|100.64.0.0/10|192.168.0.0/16*" << "RFC 1918 block.|Shared address space, not private.|"
            << "" << "" << 0 << 45;
        QTest::newRow("true/false reordered, pictures in feedback count") << 2 << "TCP guarantees delivery order."
            << "True*|False" << "Yes.|It does." << "Sequence numbers." << "png" << 1 << 79;
        QTest::newRow("characters beyond Windows-1252 kept for the builder") << 3
            << QString::fromUtf8("Bits in an IPv6 address: 𝟙𝟚𝟠") << "128*|64" << "|" << "" << "" << 0 << 110;
    }

    void moodleSample()
    {
        Bank bank;
        ReadFailure failure;
        QVERIFY2(ReadMoodleXml(TestUtil::ReadAll(Banks() + "moodle-networking.xml"), bank, failure),
            qPrintable(failure.description));
        QCOMPARE(bank.items.size(), 4);
        QCOMPARE(bank.skipped, 2);
        QCOMPARE(Notes(bank), QStringList({ "69: skipped shortanswer question \"Type the IPv4 loopback address of every \"",
                                  "86: left out the attachment \"notes.txt\"",
                                  "102: skipped essay question \"Describe the OSI model, layer by layer, \"" }));
        QFETCH(int, index);
        const BankItem& item = bank.items[index];
        QTEST(item.text.simplified(), "text");
        QVERIFY(!item.text.contains(QChar::ObjectReplacementCharacter));
        QTEST(Options(item), "options");
        QTEST(Feedbacks(item), "feedbacks");
        QTEST(item.generalFeedback.simplified(), "general");
        QFETCH(QString, picture);
        if (picture == "gif")
            QCOMPARE(item.picture, TestUtil::ReadAll(TEST_DATA_DIR "/exhibit.gif"));
        else
            QCOMPARE(item.picture.startsWith("\x89PNG"), picture == "png");
        QTEST(item.extraPictures, "extraPictures");
        QTEST(item.location, "line");
    }

    void moodleHostile_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("line");
        QTest::addColumn<QString>("reason");
        const QByteArray head = "<?xml version=\"1.0\"?>\n";
        const QByteArray laughs = head + "<!DOCTYPE quiz [\n <!ENTITY a \"aaaaaaaaaa\">\n"
            " <!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">\n <!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">\n]>\n"
            "<quiz><question type=\"multichoice\"><questiontext><text>&c;</text></questiontext></question></quiz>";
        QTest::newRow("entity bomb") << laughs << 6 << "document type declaration";
        QTest::newRow("external entity") << head + "<!DOCTYPE quiz SYSTEM \"file:///etc/passwd\">\n<quiz/>" << 2
                                         << "document type declaration";
        QTest::newRow("undeclared entity") << head + "<quiz>\n<question>&xxe;</question></quiz>" << 3 << "not well-formed";
        QTest::newRow("deep nesting") << head + "<quiz>\n<question type=\"essay\">" + QByteArray("<a>").repeated(100)
                                      << 3 << "nested more than 64";
        const QByteArray file = head + "<quiz>\n<question type=\"multichoice\"><questiontext><text>Q</text>\n<file name=\"%1\" "
            "encoding=\"base64\">%2</file></questiontext><answer fraction=\"100\"><text>A</text></answer></question></quiz>";
        QTest::newRow("base64 that is not") << QByteArray(file).replace("%1", "a.png").replace("%2", "iVBOR*w0KGgo=") << 4
                                            << "not valid base64";
        QTest::newRow("picture that is not") << QByteArray(file).replace("%1", "a.png").replace("%2", "aGVsbG8gd29ybGQ=")
                                             << 4 << "is not a picture";
        QTest::newRow("file not in base64") << head + "<quiz>\n<question><questiontext>\n<file name=\"a.png\" "
                                                      "encoding=\"uuencode\">x</file></questiontext></question></quiz>"
                                            << 4 << "not base64";
        QTest::newRow("not a quiz") << head + "<html><body/></html>" << 2 << "not a Moodle XML <quiz>";
        const QByteArray sample = TestUtil::ReadAll(Banks() + "moodle-networking.xml");
        QTest::newRow("cut short") << sample.left(sample.indexOf("<!-- question: 104")) << 78 << "not well-formed";
        QTest::newRow("empty") << QByteArray() << 1 << "not well-formed";
        QTest::newRow("text beyond the cap")
            << head + "<quiz>\n<question><questiontext><text>" + QByteArray(GuardedXml::MaxTextChars + 1, 'x')
                + "</text></questiontext></question></quiz>"
            << 3 << "longer than";
        QTest::newRow("more questions than an exam holds")
            << head + "<quiz>\n"
                + QByteArray("<question><questiontext><text>Q</text></questiontext><answer fraction=\"1\"><text>A</text>"
                             "</answer></question>\n")
                      .repeated(MaxMoodleItems + 1)
                + "</quiz>"
            << MaxMoodleItems + 3 << "more than 32767 questions";
    }

    void moodleHostile()
    {
        QFETCH(QByteArray, bytes);
        Bank bank;
        bank.items.resize(1); // whatever was in `out` before does not survive a failure
        ReadFailure failure;
        QVERIFY(!ReadMoodleXml(bytes, bank, failure));
        QVERIFY(bank.items.isEmpty() && bank.notes.isEmpty());
        QFETCH(QString, reason);
        QVERIFY2(failure.description.contains(reason), qPrintable(failure.description));
        QTEST(failure.location, "line");
    }

    void qtiSingleItem()
    {
        Bank bank;
        ReadFailure failure;
        QVERIFY2(ReadQti(TestUtil::ReadAll(Banks() + "qti-item-choice.xml"), bank, failure), qPrintable(failure.description));
        QCOMPARE(bank.items.size(), 1);
        const BankItem& item = bank.items[0];
        QCOMPARE(item.text.simplified(), QString("DNS answers travel over port 53. Which transports does DNS use?"));
        QCOMPARE(Options(item), QString("UDP*|TCP*|SCTP"));
        QCOMPARE(Feedbacks(item), QString("Most queries.|Zone transfers and large answers.|"));
        QCOMPARE(item.generalFeedback, QString("DNS uses both <UDP> and TCP."));
        QCOMPARE(item.location, 5); // where the start tag ends
        QVERIFY(item.picture.isEmpty());
        QCOMPARE(Notes(bank),
            QStringList { "5: left out the picture \"images/dns.png\": a single item document carries no pictures" });
    }

    void qtiPackage()
    {
        Bank bank;
        ReadFailure failure;
        QVERIFY2(ReadQti(TestUtil::ReadAll(Banks() + "qti-package.zip"), bank, failure), qPrintable(failure.description));
        // Manifest order, not the order of the archive.
        QCOMPARE(bank.items.size(), 2);
        QCOMPARE(bank.items[0].text.simplified(), QString("Which ports are well known?"));
        QCOMPARE(Options(bank.items[0]), QString("22*|8|443*"));
        QCOMPARE(Feedbacks(bank.items[0]), QString("SSH||"));
        QCOMPARE(bank.items[0].picture, TestUtil::ReadAll(TEST_DATA_DIR "/exhibit.gif"));
        QCOMPARE(bank.items[0].extraPictures, 1);
        QCOMPARE(bank.items[0].location, 1);
        QCOMPARE(bank.items[1].text.simplified(), QString("Which command shows the routing table?"));
        QCOMPARE(Options(bank.items[1]), QString("ip route*|ip link"));
        QVERIFY(!bank.items[1].picture.isEmpty()); // "../images/routes.gif" from items/ stays inside
        QCOMPARE(bank.skipped, 1);
        QCOMPARE(Notes(bank), QStringList { "3: skipped textEntry question \"The loopback interface is called .\"" });
    }

    void qtiHostile_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("reason");
        auto zip = [](const char* name) { return TestUtil::ReadAll(Banks() + name); };
        QTest::newRow("dot-dot path") << zip("qti-dotdot.zip") << "\"../evil.gif\" points outside the archive";
        QTest::newRow("absolute path") << zip("qti-absolute.zip") << "\"/tmp/evil.gif\" points outside the archive";
        QTest::newRow("symbolic link") << zip("qti-symlink.zip") << "is a link or a device";
        QTest::newRow("1 GiB declared") << zip("qti-huge-declared.zip") << "larger than 32 MiB";
        QTest::newRow("inflates past its size") << zip("qti-bomb.zip") << "larger than 32 MiB";
        QTest::newRow("too many entries") << ZipWithEntries(ZipArchive::MaxEntries + 1) << "more than 10000 entries";
        QTest::newRow("no manifest") << zip("qti-no-manifest.zip") << "no imsmanifest.xml";
        QTest::newRow("listed item missing") << zip("qti-missing-item.zip") << "lists \"items/route.xml\" but does not hold it";
        QTest::newRow("picture that is not") << zip("qti-not-a-picture.zip") << "\"images/routes.gif\" is not a picture";
        QTest::newRow("damaged zip") << zip("qti-package.zip").left(1200) << "zip";
        QTest::newRow("not an item") << QByteArray("<assessmentTest/>") << "not a QTI assessmentItem";
        QTest::newRow("entity bomb") << QByteArray("<!DOCTYPE a [<!ENTITY a \"a\">]><assessmentItem>&a;</assessmentItem>")
                                     << "document type declaration";
        QTest::newRow("deep nesting") << "<assessmentItem><itemBody>" + QByteArray("<div>").repeated(80) << "nested more";
    }

    void qtiHostile()
    {
        QFETCH(QByteArray, bytes);
        Bank bank;
        ReadFailure failure;
        QVERIFY(!ReadQti(bytes, bank, failure));
        QVERIFY(bank.items.isEmpty() && bank.notes.isEmpty());
        QFETCH(QString, reason);
        QVERIFY2(failure.description.contains(reason), qPrintable(failure.description));
    }

    // Export then import gives the items back: the sample exam and exams
    // made up of awkward texts.
    void roundTrip_data()
    {
        QTest::addColumn<int>("seed"); // 0: the sample exam
        QTest::newRow("PRAC-101") << 0;
        for (int seed = 1; seed <= 6; ++seed)
            QTest::newRow(qPrintable(QString("generated %1").arg(seed))) << seed;
    }

    void roundTrip()
    {
        QFETCH(int, seed);
        QTemporaryDir folder;
        QString exhibits = folder.path();
        Exam exam;
        if (seed == 0) {
            ExamJson::FromJson(TestUtil::ReadAll(SAMPLE_DIR "/PRAC-101.json"), exam, "PRAC-101.json");
            exhibits = SAMPLE_DIR;
        } else {
            Generate(seed, exam, exhibits);
        }
        QStringList warnings;
        const QByteArray xml = WriteMoodleXml(exam, exhibits, &warnings);
        QVERIFY2(warnings.isEmpty(), qPrintable(warnings.join('\n')));
        Bank bank;
        ReadFailure failure;
        QVERIFY2(ReadMoodleXml(xml, bank, failure), qPrintable(failure.description));
        QCOMPARE(bank.items.size(), exam.Questions().Count());
        QVERIFY(bank.notes.isEmpty());
        for (int i = 0; i < bank.items.size(); ++i) {
            const Question& question = exam.Questions().Item(i + 1);
            const BankItem& item = bank.items[i];
            QCOMPARE(item.text, question.Problem());
            QCOMPARE(item.generalFeedback, question.StoredExplaination());
            QCOMPARE(item.options.size(), question.Choices().Count());
            for (int c = 0; c < item.options.size(); ++c) {
                QCOMPARE(item.options[c].text, question.Choices().Item(c + 1).Statement());
                QCOMPARE(item.options[c].isSolution, question.Choices().Item(c + 1).IsSolution());
            }
            const QByteArray picture
                = question.HasExhibit() ? TestUtil::ReadAll(exhibits + "/" + question.Exhibit()) : QByteArray();
            QCOMPARE(item.picture, picture);
        }
    }

private:
    // Texts with markup characters, CDATA ends, runs of blanks, line
    // breaks and Windows-1252 letters; 1 to 6 options, 0 to all solutions.
    static void Generate(int seed, Exam& exam, const QString& folder)
    {
        QRandomGenerator random(seed);
        const QStringList words { "<b>", "&amp;", "]]>", "a  b", "\"q\"", "é", "€", "line\nbreak", "tab\tstop", "x", "@@PLUGINFILE@@" };
        auto text = [&](int count) {
            QStringList parts { "start" };
            for (int i = 0; i < count; ++i)
                parts.append(words[random.bounded(int(words.size()))]);
            return parts.join(' ') + " end";
        };
        QFile::copy(TEST_DATA_DIR "/exhibit.gif", folder + "/pic.gif");
        exam.SetCode("GEN");
        for (int q = 1, count = 1 + random.bounded(30); q <= count; ++q) {
            auto question = exam.Questions().Add();
            question->SetProblem(text(random.bounded(12)));
            question->SetExplaination(random.bounded(3) ? text(random.bounded(6)) : QString());
            if (random.bounded(4) == 0)
                question->SetExhibit("pic.gif");
            for (int c = 0, options = 1 + random.bounded(6); c < options; ++c) {
                auto choice = question->Choices().Add();
                choice->SetStatement(text(random.bounded(4)));
                choice->SetIsSolution(random.bounded(3) == 0);
            }
        }
    }
};

QTEST_MAIN(XmlBankTest)
#include "XmlBankTest.moc"
