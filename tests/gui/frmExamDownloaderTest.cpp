#include "common/GuiUtil.h"
#include "common/TestUtil.h"
#include "download/InternetTransfer.h"
#include "download/PackInstaller.h"
#include "download/frmExamDownloader.h"
#include "model/Pack.h"
#include "model/PackSignature.h"
#include "shell/Globals.h"
#include "shell/Registry.h"
#include "tests/download/CourierProcess.h"

#include <QtTest>
#include <QtWidgets>

using namespace GuiUtil;

namespace {

const QString CourierKey = "Software\\Practorum\\PackCourier";
const QString User = "me@example.com";
const QString Password = "s3cret&=;";
constexpr int RunTimeout = 30000; // generous: a few local requests and small packs

// A well-formed pack whose script runs `commands`, padded so that half of it
// still holds the whole script.
QByteArray ScriptPack(const QByteArray& commands)
{
    QByteArray script = QByteArray(Pack::Signature) + "skip=00000\nsize=65536\n" + commands + "\nexit 0\n";
    script.replace("00000", QByteArray::number(script.size() + 1).rightJustified(5, '0'));
    return script + QByteArray(65536, 'x');
}

QByteArray Signed(const QByteArray& body, const QByteArray& secretKey, const QString& examID)
{
    PackSignature::Signer signer(secretKey, examID);
    signer.Add(body);
    return body + signer.Trailer();
}

// Whether the process `pid` still runs (a zombie has ended).
bool IsRunning(qint64 pid)
{
    const QByteArray line = TestUtil::ReadAll(QString("/proc/%1/stat").arg(pid));
    const qsizetype state = line.lastIndexOf(')') + 2;
    return state > 1 && state < line.size() && line.at(state) != 'Z' && line.at(state) != 'X';
}

QString Caption(QWidget& window) { return Child<QPushButton>(&window, "cmdAction")->text(); }
QString Info(QWidget& window) { return Child<QLabel>(&window, "lblInfo")->text(); }

void Start(QWidget& window, const QString& user, const QString& password)
{
    Child<QLineEdit>(&window, "txtEmail")->setText(user);
    Child<QLineEdit>(&window, "txtPassword")->setText(password);
    QTest::mouseClick(Child<QPushButton>(&window, "cmdAction"), Qt::LeftButton);
}

bool WaitForEnd(QWidget& window)
{
    return QTest::qWaitFor([&] { return !window.isVisible() || Caption(window) != "&Cancel"; }, RunTimeout);
}

} // namespace

class frmExamDownloaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_home.path() + "/data"));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.path() + "/config"));
        qputenv("TMPDIR", QFile::encodeName(m_home.path() + "/tmp"));
        MessageSeam::Intercept(true);
        // No desktop keyring here: remembered passwords take the machine phrase.
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
        for (const QString id : { "101", "102" }) {
            const QString source = TestUtil::WriteFile(m_home.path() + "/src/" + id + ".json",
                QStringLiteral(R"({"code": "%1", "name": "Exam %1", "maxScore": 1000, "passScore": 700, "duration": 60,
                "questions": [{"problem": "Q", "choices": [{"statement": "A", "isSolution": true}]}]})").arg(id).toUtf8());
            QDir().mkpath(m_home.path() + "/packs/real");
            const auto packed = TestUtil::Run(EXAM_TOOL, { "pack", source, m_home.path() + "/packs/real/" + id + ".pack" });
            QCOMPARE(packed.ExitCode, 0);
            TestUtil::WriteFile(m_home.path() + "/packs/marker/" + id + ".pack", Marks(id));
        }
    }

    void init()
    {
        for (const QString folder : { "data", "config", "tmp", "server" }) {
            QDir(m_home.path() + "/" + folder).removeRecursively();
            QDir().mkpath(m_home.path() + "/" + folder);
        }
        for (const QString& marker : Markers())
            QFile::remove(m_home.path() + "/" + marker);
        Shown();
    }

    void cleanup() { m_courier.reset(); }

    // The figures' units, "999.00 KB" included.
    void statusLabels()
    {
        frmExamDownloader window;
        const auto labels = [&](double total, double downloaded, double rate) {
            window.UpdateStatus("Downloading: 101.exe", total, downloaded, rate);
            return QStringList({ Child<QLabel>(&window, "lblTotal")->text(), Child<QLabel>(&window, "lblDownloaded")->text(),
                Child<QLabel>(&window, "lblRate")->text() }).join('|');
        };
        QCOMPARE(labels(0, 0, 0), "NA|NA|NA");
        QCOMPARE(labels(2e6, 1022975, 99), "1.91 MB|999 KB|99 bytes/s");
        QCOMPARE(labels(2e6, 1022976, 1536), "1.91 MB|999.00 KB|2 KB/s");
    }

    // The fields, the box and the button in a ring; Enter refuses
    // blank entries and focuses the one missing.
    void keyboardOnly()
    {
        frmExamDownloader window;
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        const auto key = [](Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
            QTest::keyClick(QApplication::focusWidget(), key, modifiers);
        };
        QCOMPARE(TabRing(4), QStringList({ "txtEmail", "txtPassword", "chkRemember", "cmdAction" }));
        QTest::keyClicks(QApplication::focusWidget(), "   ");
        key(Qt::Key_Return);
        QCOMPARE(Shown(), QStringList { "48:Please enter your User ID." });
        QCOMPARE(QApplication::focusWidget()->objectName(), "txtEmail");
        QTest::keyClicks(QApplication::focusWidget(), "me");
        key(Qt::Key_Tab);
        QTest::keyClicks(QApplication::focusWidget(), "  ");
        key(Qt::Key_Return);
        QCOMPARE(Shown(), QStringList { "48:Please enter your password." });
        QCOMPARE(QApplication::focusWidget()->objectName(), "txtPassword");
        QVERIFY(!Child<InternetTransfer>(&window, "icRequestDispatcher")->StillExecuting());
    }

    // Log on, list, fetch, install, report back; then the remembered
    // credentials fill the next window, and unticking forgets them.
    void fullRunsWithRememberedCredentials()
    {
        StartCourier("real", { "101", "102" });
        frmExamDownloader window;
        window.show();
        QTest::mouseClick(Child<QLabel>(&window, "lblRemember"), Qt::LeftButton); // the label ticks the box
        Start(window, "  " + User, Password + " ");
        QVERIFY(Caption(window) == "&Cancel" && WaitForEnd(window));
        QVERIFY(Shown().isEmpty() && Info(window) == "Completed" && Caption(window) == "&Close");
        QVERIFY(IsExamInstalled("101") && IsExamInstalled("102"));
        QCOMPARE(ReportedLists(), QStringList { "101,102" });
        QVERIFY(!QDirIterator(m_home.path() + "/tmp", { "*.exe" }, QDir::Files, QDirIterator::Subdirectories).hasNext());
        QVERIFY(Child<QTimer>(&window, "tmrAutoClose")->isActive());
        window.tmrAutoClose_Timer();
        QVERIFY(!window.isVisible());

        qint32 type = 0;
        const auto stored = [&](const char* name) { return Registry::ReadValue(Registry::HKEY_CURRENT_USER, CourierKey, name, &type); };
        QCOMPARE(stored("User ID").toString(), "  " + User);
        const QByteArray cipher = stored("Password").toByteArray();
        QVERIFY(type == Registry::REG_BINARY && cipher.size() == Password.size() + 1 && !cipher.contains("s3cret"));

        // Both installed now: overwriting each is declined, nothing more is reported.
        frmExamDownloader again;
        again.show();
        QCOMPARE(Child<QLineEdit>(&again, "txtEmail")->text(), "  " + User);
        QCOMPARE(Child<QLineEdit>(&again, "txtPassword")->text(), Password + " ");
        MessageSeam::SetNextAnswer(MessageSeam::No);
        MessageSeam::SetNextAnswer(MessageSeam::No);
        QTest::mouseClick(Child<QPushButton>(&again, "cmdAction"), Qt::LeftButton);
        QVERIFY(WaitForEnd(again));
        const QString overwrite = "36:Exam %1 is already installed on this computer. Do you want to overwrite the existing exam?";
        QCOMPARE(Shown(), (QStringList { overwrite.arg(101), overwrite.arg(102) }));
        QVERIFY(Info(again) == "Completed" && ReportedLists() == QStringList { "101,102" });
        QTest::mouseClick(Child<QLabel>(&again, "lblRemember"), Qt::LeftButton);
        QVERIFY(again.close());
        QVERIFY(!stored("User ID").isValid() && !stored("Password").isValid() && type == Registry::REG_NONE);
    }

    // Each message the window shows for a failed run, with the state it is
    // left in. Damaged or untrusted packs neither run nor stay running, nor
    // are they reported installed.
    void failures_data()
    {
        // mode: the server's misbehaviour, or what the one pack does; boxes: in order, all critical; caption: empty
        // when the window closed itself; reports: the REPORT lists the server received
        Columns<QString, QStringList, QString, QString, QStringList>(
            { "mode", "boxes", "status", "caption", "reports" });
        const QString connecting = "Connecting to Practorium Download Server";
        const QString failed = "Installation of %1 failed. Click OK to continue.";
        QTest::newRow("wrong password") << "wrong-password" << QStringList { "Cannot continue because the User ID or password is incorrect" }
                                        << "Authentication failed!" << "&Start" << QStringList();
        QTest::newRow("ERROR reply") << "error-reply" << QStringList { "The PackCourier service is closed for maintenance. Please try again later." }
                                     << connecting << "" << QStringList();
        QTest::newRow("not a message") << "not-a-message" << QStringList { "Cannot continue because there seems to be a problem with your internet "
            "connection or Practorium's PackCourier Service. If the problem persists, please contact Practorium support." }
                                       << "Error communicating to server" << "&Close" << QStringList();
        QTest::newRow("never answers") << "never-answer" << QStringList { "Error (0x4) Operation timed out\r\nUnable to perform "
                                                                          "this operation. Make sure you are connected to Internet." }
                                       << connecting << "&Close" << QStringList();
        // The service knows the account only in Windows-1252: UTF-8 would not log on.
        QTest::newRow("no exams, non-ASCII account") << "non-ascii" << QStringList { "You do not have any exams available for download" }
                                                     << "Checking for available downloads" << "" << QStringList();
        QTest::newRow("packs cut off") << "drop-mid-pack" << QStringList { failed.arg(101), failed.arg(102) } << "Completed" << "&Close" << QStringList { "" };
        for (const char* pack : { "unsigned", "runs past the limit", "leaves a child running" })
            QTest::newRow(pack) << pack << QStringList { failed.arg(101) } << "Completed" << "&Close" << QStringList { "" };
        QTest::newRow("cancelled while it runs") << "cancelled" << QStringList() << "Installing: 101" << "" << QStringList();
    }

    void failures()
    {
        QFETCH(QString, mode);
        const bool nonAscii = mode == "non-ascii", runs = mode == "runs past the limit" || mode == "cancelled";
        const QString user = nonAscii ? "zoé€@example.com" : User, password = nonAscii ? "pässwörd€" : Password;
        const QByteArray pid = QFile::encodeName(m_home.path() + "/tmp/pid"), marker = QFile::encodeName(m_home.path() + "/ran-101");
        // Sleeping, or leaving a child that writes its own ID and sleeps.
        const QByteArray script = runs ? "echo $$ > '" + pid + "'; sleep 600; : > '" + marker + "'"
            : "sh -c 'echo $$ > \"$1.part\"; mv \"$1.part\" \"$1\"; sleep 600; : > \"$2\"' sh '" + pid + "' '" + marker
                + "' &\nwhile [ ! -s '" + pid + "' ]; do sleep 0.01; done";
        if (mode == "unsigned" || runs || mode.startsWith("leaves")) {
            TestUtil::WriteFile(m_home.path() + "/packs/row/101.pack",
                mode == "unsigned" ? Marks("101") : Signed(ScriptPack(script), m_signer.Secret, "101"));
            StartCourier("row", { "101" }, "as-is");
            Registry::WriteValue(CourierKey, "Install Timeout", " 7 ", Registry::REG_SZ);
        } else {
            StartCourier("marker", nonAscii ? QStringList() : QStringList { "101", "102" },
                mode == "wrong-password" || nonAscii ? QString() : mode, user, password);
        }
        frmExamDownloader window;
        window.show();
        // The server's password digest is slow on purpose; only a server
        // that never answers gets a short limit.
        if (mode == "never-answer")
            Child<InternetTransfer>(&window, "icRequestDispatcher")->SetTimeout(300);
        Start(window, user, mode == "wrong-password" ? "wrong" : password);
        if (runs) { // the window stays live while the pack runs, under the setting's limit
            auto* installer = Child<PackInstaller>(&window, "installer");
            QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(pid).size() > 0, RunTimeout);
            QVERIFY(installer->IsRunning() && Info(window) == "Installing: 101");
            QCOMPARE(Child<QTimer>(installer, "tmrInstallTimeout")->interval(), 7000);
            if (mode == "cancelled")
                QTest::mouseClick(Child<QPushButton>(&window, "cmdAction"), Qt::LeftButton);
            else
                installer->tmrTimeout_Timer();
        }
        QVERIFY(WaitForEnd(window));
        QTEST(Shown().replaceInStrings(QRegularExpression("^16:"), ""), "boxes");
        QTEST(Info(window), "status");
        QCOMPARE(window.isVisible() ? Caption(window) : QString(), Data<QString>("caption"));
        if (const qint64 id = TestUtil::ReadAll(pid).trimmed().toLongLong(); QFile::exists(pid))
            QTRY_VERIFY_WITH_TIMEOUT(id > 0 && !IsRunning(id), RunTimeout);
        QCOMPARE(Markers(), QStringList());
        window.close();
        QTEST(ReportedLists(), "reports");
    }

    // The simulator runs for every request until its reply, LIST included.
    void progressMovesWhileListIsPending()
    {
        StartCourier("real", { "101" }, "hold-list");
        frmExamDownloader window;
        window.show();
        Start(window, User, Password);
        QTRY_COMPARE_WITH_TIMEOUT(Info(window), QString("Checking for available downloads"), RunTimeout);
        QVERIFY(Child<QTimer>(&window, "tmrProgressSimulator")->isActive());
        auto* bar = Child<QProgressBar>(&window, "picProgress");
        const int before = bar->value();
        for (int tick = 0; tick < 5; ++tick)
            window.tmrProgressSimulator_Timer();
        QVERIFY2(bar->value() != before && bar->value() < 4800, qPrintable(QString::number(bar->value())));
        window.close();
        QVERIFY(!Child<QTimer>(&window, "tmrProgressSimulator")->isActive() && Shown().isEmpty());
    }

private:
    // A pack that only leaves the marker "ran-ID" behind when it runs.
    QByteArray Marks(const QString& id) const { return ScriptPack(": > '" + QFile::encodeName(m_home.path() + "/ran-" + id) + "'"); }
    QStringList Markers() const { return QDir(m_home.path()).entryList({ "ran-*" }, QDir::Files); }

    // Starts the reference server with the account granted `exams`, serving
    // `packs`; the store's Endpoint points at it, its key among the trusted.
    void StartCourier(const QString& packs, const QStringList& exams, const QString& misbehave = {},
        const QString& user = User, const QString& password = Password)
    {
        m_courier = std::make_unique<CourierProcess>(m_home.path() + "/server", m_home.path() + "/packs/" + packs);
        QVERIFY(m_courier->AddAccount(user, password, exams) && m_courier->Start(misbehave));
        Registry::WriteValue(CourierKey, "Endpoint", "  " + m_courier->Endpoint() + " ", Registry::REG_SZ);
        QByteArray key;
        QVERIFY(m_courier->Admin({ "public-key" }, &key));
        Registry::WriteValue(CourierKey, "Trusted Keys",
            PackSignature::KeyText(m_signer.Public) + "  " + QString::fromLatin1(key.trimmed()), Registry::REG_SZ);
    }

    QStringList ReportedLists() const
    {
        QByteArray output;
        if (!m_courier->Admin({ "reports" }, &output))
            return { "<reports failed>" };
        QStringList lists;
        for (const QString& line : QString::fromUtf8(output).split('\n', Qt::SkipEmptyParts))
            lists << line.split('\t').value(2);
        return lists;
    }

    QTemporaryDir m_home;
    std::unique_ptr<CourierProcess> m_courier;
    PackSignature::KeyPair m_signer = PackSignature::NewKeyPair(); // a vendor whose packs are sent as they are
};

QTEST_MAIN(frmExamDownloaderTest)
#include "frmExamDownloaderTest.moc"
