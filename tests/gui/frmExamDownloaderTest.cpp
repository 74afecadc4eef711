#include "common/TestUtil.h"
#include "download/InternetTransfer.h"
#include "download/PackInstaller.h"
#include "download/frmExamDownloader.h"
#include "model/Pack.h"
#include "model/PackSignature.h"
#include "shell/Globals.h"
#include "shell/MessageSeam.h"
#include "shell/Registry.h"
#include "tests/download/CourierProcess.h"

#include <QApplication>
#include <QCheckBox>
#include <QDirIterator>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

namespace {

const QString CourierKey = "Software\\Practorum\\PackCourier";
const QString User = "me@example.com";
const QString Password = "s3cret&=;";
// Generous: a run is a few local requests and two small packs.
constexpr int RunTimeout = 30000;

void WriteFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size());
}

// A well-formed pack whose script runs `commands`, padded so that half of it
// still holds the whole script.
QByteArray ScriptPack(const QByteArray& commands)
{
    QByteArray script = QByteArray(Pack::Signature) + "skip=00000\nsize=65536\n" + commands + "\nexit 0\n";
    script.replace("00000", QByteArray::number(script.size() + 1).rightJustified(5, '0'));
    return script + QByteArray(65536, 'x');
}

// A pack that only leaves `marker` behind when it runs.
QByteArray MarkerPack(const QString& marker)
{
    return ScriptPack(": > '" + QFile::encodeName(marker) + "'");
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
    QFile stat(QString("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray line = stat.readAll();
    const qsizetype state = line.lastIndexOf(')') + 2;
    return state < line.size() && line.at(state) != 'Z' && line.at(state) != 'X';
}

template <typename T>
T* Child(QWidget& window, const char* name)
{
    return window.findChild<T*>(QString::fromLatin1(name));
}

QString Caption(QWidget& window)
{
    return Child<QPushButton>(window, "cmdAction")->text();
}

// The boxes shown since the last call; one of another style than `style` says so.
QStringList ShownTexts(int style)
{
    QStringList texts;
    for (const MessageSeam::Shown& shown : MessageSeam::TakeShown())
        texts << (shown.Style == style ? shown.Text : QString("style %1: ").arg(shown.Style) + shown.Text);
    return texts;
}

void Start(QWidget& window, const QString& user, const QString& password)
{
    Child<QLineEdit>(window, "txtEmail")->setText(user);
    Child<QLineEdit>(window, "txtPassword")->setText(password);
    QTest::mouseClick(Child<QPushButton>(window, "cmdAction"), Qt::LeftButton);
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
            const QString source = m_home.path() + "/src/" + id + ".json";
            WriteFile(source, QStringLiteral(R"({"code": "%1", "name": "Exam %1", "maxScore": 1000, "passScore": 700, "duration": 60,
                "questions": [{"problem": "Q", "choices": [{"statement": "A", "isSolution": true}]}]})").arg(id).toUtf8());
            QDir().mkpath(m_home.path() + "/packs/real");
            QProcess tool;
            tool.start(EXAM_TOOL, { "pack", source, m_home.path() + "/packs/real/" + id + ".pack" });
            QVERIFY(tool.waitForFinished(RunTimeout) && tool.exitStatus() == QProcess::NormalExit && tool.exitCode() == 0);
            WriteFile(m_home.path() + "/packs/marker/" + id + ".pack", MarkerPack(m_home.path() + "/ran-" + id));
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
        MessageSeam::TakeShown();
    }

    void cleanup() { m_courier.reset(); }

    void updateStatus_data()
    {
        QTest::addColumn<double>("total");
        QTest::addColumn<double>("downloaded");
        QTest::addColumn<double>("rate");
        QTest::addColumn<QStringList>("labels"); // size, received, rate
        QTest::newRow("all zero") << 0.0 << 0.0 << 0.0 << QStringList { "NA", "NA", "NA" };
        QTest::newRow("received just below 999 KB") << 2e6 << 1022975.0 << 0.0 << QStringList { "1.91 MB", "999 KB", "NA" };
        QTest::newRow("received at 999 KB") << 2e6 << 1022976.0 << 0.0 << QStringList { "1.91 MB", "999.00 KB", "NA" };
        QTest::newRow("rate in bytes") << 0.0 << 0.0 << 99.0 << QStringList { "NA", "NA", "99 bytes/s" };
        QTest::newRow("rate in kilobytes, no decimals") << 0.0 << 0.0 << 1536.0 << QStringList { "NA", "NA", "2 KB/s" };
    }

    void updateStatus()
    {
        QFETCH(double, total);
        QFETCH(double, downloaded);
        QFETCH(double, rate);
        frmExamDownloader window;
        window.UpdateStatus("Downloading: 101.exe", total, downloaded, rate);
        QTEST((QStringList { Child<QLabel>(window, "lblTotal")->text(), Child<QLabel>(window, "lblDownloaded")->text(),
                  Child<QLabel>(window, "lblRate")->text() }), "labels");
    }

    void setProgress_data()
    {
        QTest::addColumn<float>("first");
        QTest::addColumn<float>("second");
        QTest::addColumn<int>("shown");
        QTest::newRow("step under 10 units kept back") << 0.0f << 0.0019f << 0;
        QTest::newRow("step of 10 units shown") << 0.0f << 0.0021f << 10;
        QTest::newRow("step of 10 units back shown") << 0.5f << 0.4979f << 2390;
        QTest::newRow("full") << 0.0f << 1.0f << 4800;
        QTest::newRow("above 100 is full") << 0.0f << 250.0f << 4800;
    }

    void setProgress()
    {
        QFETCH(float, first);
        QFETCH(float, second);
        frmExamDownloader window;
        window.SetProgress(first);
        window.SetProgress(second);
        QTEST(Child<QProgressBar>(window, "picProgress")->value(), "shown");
    }

    void progressSimulatorFallsBackToHalf()
    {
        frmExamDownloader window;
        const auto ticks = [&](int count) {
            while (count-- > 0)
                window.tmrProgressSimulator_Timer();
            return Child<QProgressBar>(window, "picProgress")->value();
        };
        QCOMPARE(ticks(10), 48);
        QVERIFY(ticks(980) >= 4740);
        QCOMPARE(ticks(11), 2400);
    }

    // The fields, the box and the button in a ring both ways; Space ticks
    // the box; Enter in a field presses Start, which refuses blank entries
    // and puts the focus where the entry is missing.
    void keyboardOnly()
    {
        frmExamDownloader window;
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        const auto key = [](Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
            QTest::keyClick(QApplication::focusWidget(), key, modifiers);
        };
        QStringList ring { "txtEmail", "txtPassword", "chkRemember", "cmdAction" };
        for (const Qt::KeyboardModifiers direction : { Qt::NoModifier, Qt::ShiftModifier }) {
            QStringList seen;
            do {
                seen << QApplication::focusWidget()->objectName();
                key(Qt::Key_Tab, direction);
            } while (QApplication::focusWidget()->objectName() != ring[0] && seen.size() <= ring.size());
            QCOMPARE(seen, ring);
            std::reverse(ring.begin() + 1, ring.end());
        }
        QTest::keyClicks(QApplication::focusWidget(), "   ");
        key(Qt::Key_Return);
        QCOMPARE(ShownTexts(48), QStringList { "Please enter your User ID." });
        QCOMPARE(QApplication::focusWidget(), Child<QLineEdit>(window, "txtEmail"));
        QTest::keyClicks(QApplication::focusWidget(), "me");
        key(Qt::Key_Tab);
        QTest::keyClicks(QApplication::focusWidget(), "  ");
        key(Qt::Key_Tab);
        key(Qt::Key_Space);
        QVERIFY(Child<QCheckBox>(window, "chkRemember")->isChecked());
        key(Qt::Key_Tab, Qt::ShiftModifier);
        key(Qt::Key_Return);
        QCOMPARE(ShownTexts(48), QStringList { "Please enter your password." });
        QCOMPARE(QApplication::focusWidget(), Child<QLineEdit>(window, "txtPassword"));
        QCOMPARE(Caption(window), "&Start");
        QVERIFY(!Child<InternetTransfer>(window, "icRequestDispatcher")->StillExecuting());
    }

    void fullRunsWithRememberedCredentials()
    {
        StartCourier("real", { "101", "102" });
        const QStringList filesBefore = FilesOutsideAllowedFolders();
        frmExamDownloader window;
        window.show();
        // The label ticks the box as well as the box itself.
        QTest::mouseClick(Child<QLabel>(window, "lblRemember"), Qt::LeftButton);
        QVERIFY(Child<QCheckBox>(window, "chkRemember")->isChecked());
        Start(window, "  " + User, Password + " ");
        QCOMPARE(Caption(window), "&Cancel");
        QVERIFY(WaitForEnd(window));

        QCOMPARE(ShownTexts(0), QStringList {});
        QCOMPARE(Child<QLabel>(window, "lblInfo")->text(), "Completed");
        QCOMPARE(Caption(window), "&Close");
        QVERIFY(IsExamInstalled("101") && IsExamInstalled("102"));
        QCOMPARE(ReportedLists(), QStringList { "101,102" });
        // The packs were deleted after they ran.
        QVERIFY(!QDirIterator(m_home.path() + "/tmp", { "*.exe" }, QDir::Files, QDirIterator::Subdirectories).hasNext());
        auto* autoClose = Child<QTimer>(window, "tmrAutoClose");
        QVERIFY(autoClose->isActive());
        QCOMPARE(autoClose->interval(), 1000);
        window.tmrAutoClose_Timer();
        QVERIFY(!window.isVisible());

        // Stored as typed, the password enciphered.
        qint32 type = 0;
        const auto stored = [&](const char* name) { return Registry::ReadValue(Registry::HKEY_CURRENT_USER, CourierKey, name, &type); };
        QCOMPARE(stored("User ID").toString(), "  " + User);
        const QByteArray cipher = stored("Password").toByteArray();
        QCOMPARE(type, Registry::REG_BINARY);
        QCOMPARE(cipher.size(), (Password + " ").size());
        QVERIFY(!cipher.contains("s3cret"));

        // Remembered. Both exams are installed now and overwriting them is
        // declined: nothing is downloaded and nothing more reported.
        frmExamDownloader again;
        again.show();
        QCOMPARE(Child<QLineEdit>(again, "txtEmail")->text(), "  " + User);
        QCOMPARE(Child<QLineEdit>(again, "txtPassword")->text(), Password + " ");
        QVERIFY(Child<QCheckBox>(again, "chkRemember")->isChecked());
        MessageSeam::SetNextAnswer(MessageSeam::No);
        MessageSeam::SetNextAnswer(MessageSeam::No);
        QTest::mouseClick(Child<QPushButton>(again, "cmdAction"), Qt::LeftButton);
        QVERIFY(WaitForEnd(again));
        const QString overwrite = "Exam %1 is already installed on this computer. Do you want to overwrite the existing exam?";
        QCOMPARE(ShownTexts(36), (QStringList { overwrite.arg(101), overwrite.arg(102) }));
        QCOMPARE(Child<QLabel>(again, "lblInfo")->text(), "Completed");
        QVERIFY(Child<QTimer>(again, "tmrAutoClose")->isActive());
        QCOMPARE(ReportedLists(), QStringList { "101,102" });

        // Unticking forgets both on close.
        QTest::mouseClick(Child<QLabel>(again, "lblRemember"), Qt::LeftButton);
        QVERIFY(again.close());
        QVERIFY(!stored("User ID").isValid() && type == Registry::REG_NONE);
        QVERIFY(!stored("Password").isValid() && type == Registry::REG_NONE);
        QCOMPARE(FilesOutsideAllowedFolders(), filesBefore);
    }

    void hostileServer_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QStringList>("boxes"); // in order, all critical
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("caption"); // empty when the window closed itself
        QTest::addColumn<QStringList>("reports"); // the REPORT lists the server received

        const auto installFailed = [](const QString& id) { return "Installation of " + id + " failed. Click OK to continue."; };
        const QStringList failed { installFailed("101"), installFailed("102") };
        const QStringList none;
        const QString connecting = "Connecting to Practorium Download Server";
        const QStringList communication { "Cannot continue because there seems to be a problem with your internet "
            "connection or Practorium's PackCourier Service. If the problem persists, please contact Practorium support." };
        QTest::newRow("wrong password") << "wrong-password" << QStringList { "Cannot continue because the User ID or password is incorrect" }
                                        << "Authentication failed!" << "&Start" << none;
        QTest::newRow("ERROR reply") << "error-reply" << QStringList { "The PackCourier service is closed for maintenance. Please try again later." }
                                     << connecting << "" << none;
        // Nothing is dispatched; the window goes on waiting.
        QTest::newRow("empty body waits") << "empty-body" << none << connecting << "&Cancel" << none;
        QTest::newRow("not a message") << "not-a-message" << communication << "Error communicating to server" << "&Close" << none;
        QTest::newRow("10 MB reply") << "huge-reply" << communication << "Error communicating to server" << "&Close" << none;
        // Cut, overlong or not a pack at all: nothing runs, nothing is reported installed.
        for (const char* mode : { "drop-mid-pack", "length-too-large", "length-too-small", "not-found-pack" })
            QTest::newRow(mode) << QString(mode) << failed << "Completed" << "&Close" << QStringList { "" };
        // Also the control: the marker packs of the two good IDs arrive whole and run.
        QTest::newRow("unsafe exam IDs") << "bad-exam-ids"
                                         << QStringList { installFailed("../evil"), installFailed(""), installFailed("sub/evil"),
                                                installFailed(".."), installFailed("/tmp/evil"), installFailed(QString("nul") + QChar(0) + "evil") }
                                         << "Completed" << "&Close" << QStringList { "101,102" };
        QTest::newRow("never answers") << "never-answer" << QStringList { "Error (0x4) Operation timed out\r\nUnable to perform "
                                                                          "this operation. Make sure you are connected to Internet." }
                                       << connecting << "&Close" << none;
    }

    void hostileServer()
    {
        QFETCH(QString, mode);
        QFETCH(QString, caption);
        QFETCH(QStringList, reports);
        const bool wrongPassword = mode == "wrong-password";
        StartCourier("marker", { "101", "102" }, wrongPassword ? QString() : mode);
        const QStringList filesBefore = FilesOutsideAllowedFolders();
        const bool evilBefore = QFile::exists("/tmp/evil.exe");
        frmExamDownloader window;
        window.show();
        // The server's password digest is slow on purpose; only a server
        // that never answers gets a short limit.
        if (mode == "never-answer")
            Child<InternetTransfer>(window, "icRequestDispatcher")->SetTimeout(300);
        Start(window, User, wrongPassword ? "wrong" : Password);
        if (mode == "empty-body") // the bar still goes to full
            QTRY_COMPARE_WITH_TIMEOUT(Child<QProgressBar>(window, "picProgress")->value(), 4800, RunTimeout);
        else
            QVERIFY(WaitForEnd(window));
        QTEST(ShownTexts(16), "boxes");
        QTEST(Child<QLabel>(window, "lblInfo")->text(), "status");
        QCOMPARE(window.isVisible() ? Caption(window) : QString(), caption);
        // Nothing ran that should not have: the stub packs of unsafe IDs and
        // cut packs would leave "<file>.ran" or a marker.
        QDirIterator ran(m_home.path(), { "*.ran", "*evil*" }, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        QVERIFY2(!ran.hasNext(), qPrintable(ran.hasNext() ? ran.next() : QString()));
        // The packs that ran are the ones reported installed.
        QCOMPARE(Markers().join(',').remove("ran-"), reports.value(0));
        window.close();
        QVERIFY(!window.isVisible());
        QCOMPARE(ReportedLists(), reports);
        QCOMPARE(FilesOutsideAllowedFolders(), filesBefore);
        QCOMPARE(QFile::exists("/tmp/evil.exe"), evilBefore);
    }

    // Packs that must not be installed, each the only exam of a run: the
    // failed-installation box, nothing of the pack ran or runs on, and the
    // window is still there to close.
    void untrustedPacks_data()
    {
        QTest::addColumn<QByteArray>("pack");    // 101.pack on the server
        QTest::addColumn<QString>("mode");       // the server's: "as-is" sends packs unsigned
        QTest::addColumn<QString>("trust");      // "Trusted Keys" when not the usual ones
        QTest::addColumn<QString>("action");     // "", "limit" (the time limit passes) or "cancel"
        QTest::addColumn<bool>("runs");          // refused packs are deleted unrun
        QTest::addColumn<QStringList>("boxes");

        const QString marker = m_home.path() + "/ran-101";
        const QByteArray marks = MarkerPack(marker);
        const QByteArray good = Signed(marks, m_signer.Secret, "101");
        QByteArray changed = good;
        changed[marks.size() - 10] = 'y';
        const QStringList failed { "Installation of 101 failed. Click OK to continue." };
        const QString pidFile = QFile::encodeName(m_home.path() + "/tmp/pid").constData();
        const QByteArray sleeps = ScriptPack("echo $$ > '" + pidFile.toUtf8() + "'; sleep 600; : > '" + marker.toUtf8() + "'");
        // The child writes its own ID, then the pack ends, leaving it behind.
        const QByteArray leavesChild = ScriptPack("sh -c 'echo $$ > \"$1.part\"; mv \"$1.part\" \"$1\"; sleep 600; : > \"$2\"' sh '"
            + pidFile.toUtf8() + "' '" + marker.toUtf8() + "' &\nwhile [ ! -s '" + pidFile.toUtf8() + "' ]; do sleep 0.01; done");

        QTest::newRow("unsigned") << marks << "as-is" << "" << "" << false << failed;
        QTest::newRow("server's key not trusted") << marks << "" << PackSignature::KeyText(m_signer.Public) << "" << false << failed;
        QTest::newRow("signed for another exam") << Signed(marks, m_signer.Secret, "102") << "" << "" << "" << false << failed;
        QTest::newRow("one byte changed") << changed << "" << "" << "" << false << failed;
        QTest::newRow("signature cut off") << good.left(good.size() - 64) << "" << "" << "" << false << failed;
        QTest::newRow("bytes after the signature") << good + "\n: > '" + QFile::encodeName(marker) + "'\n" << "" << "" << "" << false << failed;
        QTest::newRow("runs past the limit") << Signed(sleeps, m_signer.Secret, "101") << "" << "" << "limit" << true << failed;
        QTest::newRow("leaves a child running") << Signed(leavesChild, m_signer.Secret, "101") << "" << "" << "" << true << failed;
        QTest::newRow("cancelled while it runs") << Signed(sleeps, m_signer.Secret, "101") << "" << "" << "cancel" << true << QStringList {};
    }

    void untrustedPacks()
    {
        QFETCH(QByteArray, pack);
        QFETCH(QString, mode);
        QFETCH(QString, trust);
        QFETCH(QString, action);
        QFETCH(bool, runs);
        WriteFile(m_home.path() + "/packs/row/101.pack", pack);
        StartCourier("row", { "101" }, mode);
        if (!trust.isEmpty())
            Registry::WriteValue(CourierKey, "Trusted Keys", trust, Registry::REG_SZ);
        Registry::WriteValue(CourierKey, "Install Timeout", " 7 ", Registry::REG_SZ);
        const QStringList filesBefore = FilesOutsideAllowedFolders();
        const QString pidFile = m_home.path() + "/tmp/pid";
        frmExamDownloader window;
        window.show();
        Start(window, User, Password);
        auto* installer = Child<PackInstaller>(window, "installer");
        if (!action.isEmpty()) {
            // The window stays live while the pack runs: it shows what runs,
            // and the limit's clock is the setting's.
            QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(pidFile).size() > 0, RunTimeout);
            QVERIFY(installer->IsRunning());
            QCOMPARE(Child<QLabel>(window, "lblInfo")->text(), "Installing: 101");
            auto* limit = installer->findChild<QTimer*>("tmrInstallTimeout");
            QVERIFY(limit->isActive());
            QCOMPARE(limit->interval(), 7000);
            if (action == "limit")
                installer->tmrTimeout_Timer();
            else
                QTest::mouseClick(Child<QPushButton>(window, "cmdAction"), Qt::LeftButton);
        }
        QVERIFY(WaitForEnd(window));
        QTEST(ShownTexts(16), "boxes");
        // Nothing of the pack runs on, and nothing of a refused one ran.
        if (QFile::exists(pidFile)) {
            const qint64 pid = TestUtil::ReadAll(pidFile).trimmed().toLongLong();
            QVERIFY(pid > 0);
            QTRY_VERIFY_WITH_TIMEOUT(!IsRunning(pid), RunTimeout);
        }
        QVERIFY(!QFile::exists(m_home.path() + "/ran-101"));
        if (action == "cancel") {
            QVERIFY(!window.isVisible());
            QCOMPARE(ReportedLists(), QStringList {});
        } else {
            QCOMPARE(Child<QLabel>(window, "lblInfo")->text(), "Completed");
            QCOMPARE(Caption(window), "&Close");
            QTest::mouseClick(Child<QPushButton>(window, "cmdAction"), Qt::LeftButton);
            QVERIFY(!window.isVisible());
            QCOMPARE(ReportedLists(), QStringList { "" });
        }
        if (!runs)
            QVERIFY(!QDirIterator(m_home.path() + "/tmp", { "*.exe" }, QDir::Files, QDirIterator::Subdirectories).hasNext());
        QCOMPARE(FilesOutsideAllowedFolders(), filesBefore);
    }

    // The simulator runs for every request until its reply, LIST included.
    void progressMovesWhileListIsPending()
    {
        StartCourier("real", { "101" }, "hold-list");
        frmExamDownloader window;
        window.show();
        Start(window, User, Password);
        QTRY_COMPARE_WITH_TIMEOUT(Child<QLabel>(window, "lblInfo")->text(), QString("Checking for available downloads"), RunTimeout);
        QVERIFY(Child<QTimer>(window, "tmrProgressSimulator")->isActive());
        auto* bar = Child<QProgressBar>(window, "picProgress");
        const int before = bar->value();
        for (int tick = 0; tick < 5; ++tick)
            window.tmrProgressSimulator_Timer();
        QVERIFY2(bar->value() != before && bar->value() < 4800, qPrintable(QString::number(bar->value())));
        QCOMPARE(Caption(window), "&Cancel");
        window.close();
        QVERIFY(!Child<QTimer>(window, "tmrProgressSimulator")->isActive());
        QCOMPARE(ShownTexts(0), QStringList {});
    }

    // The service knows the account only by these characters in
    // Windows-1252; a client sending UTF-8 would not get past LOGIN.
    void nonAsciiCredentials()
    {
        const QString user = "zoé€@example.com";
        const QString password = "pässwörd€";
        StartCourier("real", {}, {}, user, password);
        frmExamDownloader window;
        window.show();
        Start(window, user, password);
        QVERIFY(WaitForEnd(window));
        QCOMPARE(ShownTexts(16), QStringList { "You do not have any exams available for download" });
    }

private:
    // Starts the reference server with the account granted `exams`, serving
    // `packs`, and points the store's Endpoint at it.
    void StartCourier(const QString& packs, const QStringList& exams, const QString& misbehave = {},
        const QString& user = User, const QString& password = Password)
    {
        m_courier = std::make_unique<CourierProcess>(m_home.path() + "/server", m_home.path() + "/packs/" + packs);
        QVERIFY(m_courier->AddAccount(user, password, exams));
        QVERIFY(m_courier->Start(misbehave));
        // Blanks around the stored address are not part of it.
        Registry::WriteValue(CourierKey, "Endpoint", "  " + m_courier->Endpoint() + " ", Registry::REG_SZ);
        QByteArray key;
        QVERIFY(m_courier->Admin({ "public-key" }, &key));
        // The server's key among others, as a candidate would paste them.
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

    // Every file under the home folder outside the temporary, exams, store
    // and server folders.
    QStringList FilesOutsideAllowedFolders() const
    {
        QStringList files;
        QDirIterator it(m_home.path(), QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = QDir(m_home.path()).relativeFilePath(it.next());
            if (!QRegularExpression("^(tmp/|data/Practorium/Exams/|config/|server/|ran-)").match(path).hasMatch())
                files << path;
        }
        files.sort();
        return files;
    }

    QStringList Markers() const { return QDir(m_home.path()).entryList({ "ran-*" }, QDir::Files); }

    QTemporaryDir m_home;
    std::unique_ptr<CourierProcess> m_courier;
    // A vendor's key whose packs the server sends as they are.
    PackSignature::KeyPair m_signer = PackSignature::NewKeyPair();
};

QTEST_MAIN(frmExamDownloaderTest)
#include "frmExamDownloaderTest.moc"
