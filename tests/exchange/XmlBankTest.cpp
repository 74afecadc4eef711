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
