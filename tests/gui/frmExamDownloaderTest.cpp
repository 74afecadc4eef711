#include "download/InternetTransfer.h"
#include "download/frmExamDownloader.h"
#include "model/Pack.h"
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

QString Literal(const QString& text)
{
    return QRegularExpression::escape(text);
}

QString InstallFailed(const QString& id)
{
    return Literal("Installation of " + id + " failed. Click OK to continue.");
}

bool Run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    return process.waitForFinished(RunTimeout) && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0;
}

void WriteFile(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(bytes), bytes.size());
}

// A well-formed pack whose script only leaves `marker` behind when it runs,
// padded so that half of it still holds the whole script.
QByteArray MarkerPack(const QString& marker)
{
    const qint64 size = 64 * 1024;
    const QByteArray base = QByteArray(Pack::Signature) + "skip=@SKIP@\nsize=" + QByteArray::number(size) + "\n: > '"
        + QFile::encodeName(marker) + "'\nexit 0\n";
    qint64 skip = 1;
    QByteArray script;
    for (;;) {
        script = QByteArray(base).replace("@SKIP@", QByteArray::number(skip));
        if (script.size() + 1 == skip)
            return script + QByteArray(size, 'x');
        skip = script.size() + 1;
    }
}

} // namespace

class frmExamDownloaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() { m_courier.reset(); }
    void updateStatus_data();
    void updateStatus();
    void setProgress_data();
    void setProgress();
    void progressSimulatorFallsBackToHalf();
    void emptyEntriesAreRefused_data();
    void emptyEntriesAreRefused();
    void fullRunWithRememberedCredentials();
    void declinedOverwriteEndsWithoutReport();
    void hostileServer_data();
    void hostileServer();

private:
    // Starts the reference server with the account granted `exams`, serving
    // `packs`, and points the store's Endpoint at it.
    void StartCourier(const QString& packs, const QStringList& exams, const QString& misbehave = {});
    QStringList ReportedLists() const;
    // Every file under the home folder outside the temporary, exams, store
    // and server folders.
    QStringList FilesOutsideAllowedFolders() const;
    QStringList Markers() const { return QDir(m_home->path()).entryList({ "ran-*" }, QDir::Files); }
    // Fills the entries and presses Start.
    void Start(frmExamDownloader& window, const QString& user, const QString& password);
    // Waits until the run is no longer under way.
    bool WaitForEnd(frmExamDownloader& window);

    template <typename T>
    static T* Child(frmExamDownloader& window, const char* name)
    {
        return window.findChild<T*>(QString::fromLatin1(name));
    }

    std::unique_ptr<QTemporaryDir> m_home;
    QString m_realPacks;
    QString m_markerPacks;
    std::unique_ptr<CourierProcess> m_courier;
};

void frmExamDownloaderTest::initTestCase()
{
    m_home = std::make_unique<QTemporaryDir>();
    QVERIFY(m_home->isValid());
    qputenv("XDG_DATA_HOME", (m_home->path() + "/data").toUtf8());
    qputenv("XDG_CONFIG_HOME", (m_home->path() + "/config").toUtf8());
    qputenv("TMPDIR", (m_home->path() + "/tmp").toUtf8());
    MessageSeam::Intercept(true);

    m_realPacks = m_home->path() + "/packs/real";
    m_markerPacks = m_home->path() + "/packs/marker";
    for (const QString id : { "101", "102" }) {
        const QString source = m_home->path() + "/src/" + id + ".json";
        WriteFile(source,
            QStringLiteral(R"({"code": "%1", "name": "Exam %1", "maxScore": 1000, "passScore": 700,
                "duration": 60, "questions": [{"problem": "Q", "choices": [{"statement": "A", "isSolution": true}]}]})")
                .arg(id)
                .toUtf8());
        QDir().mkpath(m_realPacks);
        QVERIFY(Run(EXAM_TOOL, { "pack", source, m_realPacks + "/" + id + ".pack" }));
        WriteFile(m_markerPacks + "/" + id + ".pack", MarkerPack(m_home->path() + "/ran-" + id));
    }
}

void frmExamDownloaderTest::init()
{
    for (const QString folder : { "data", "config", "tmp", "server" }) {
        QDir(m_home->path() + "/" + folder).removeRecursively();
        QDir().mkpath(m_home->path() + "/" + folder);
    }
    for (const QString& marker : Markers())
        QFile::remove(m_home->path() + "/" + marker);
    MessageSeam::TakeShown();
}

void frmExamDownloaderTest::StartCourier(const QString& packs, const QStringList& exams, const QString& misbehave)
{
    m_courier = std::make_unique<CourierProcess>(m_home->path() + "/server", packs);
    QVERIFY(m_courier->AddAccount(User, Password, exams));
    QVERIFY(m_courier->Start(misbehave));
    // Blanks around the stored address are not part of it.
    Registry::WriteValue(CourierKey, "Endpoint", "  " + m_courier->Endpoint() + " ", Registry::REG_SZ);
}

QStringList frmExamDownloaderTest::ReportedLists() const
{
    QByteArray output;
    if (!m_courier->Admin({ "reports" }, &output))
        return { "<reports failed>" };
    QStringList lists;
    for (const QString& line : QString::fromUtf8(output).split('\n', Qt::SkipEmptyParts))
        lists << line.split('\t').value(2);
    return lists;
}

QStringList frmExamDownloaderTest::FilesOutsideAllowedFolders() const
{
    QStringList files;
    const QDir home(m_home->path());
    QDirIterator it(home.path(), QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = home.relativeFilePath(it.next());
        if (!path.startsWith("tmp/") && !path.startsWith("data/Practorium/Exams/") && !path.startsWith("config/")
            && !path.startsWith("server/") && !path.startsWith("ran-"))
            files << path;
    }
    files.sort();
    return files;
}

void frmExamDownloaderTest::Start(frmExamDownloader& window, const QString& user, const QString& password)
{
    Child<QLineEdit>(window, "txtEmail")->setText(user);
    Child<QLineEdit>(window, "txtPassword")->setText(password);
    QTest::mouseClick(Child<QPushButton>(window, "cmdAction"), Qt::LeftButton);
}

bool frmExamDownloaderTest::WaitForEnd(frmExamDownloader& window)
{
    auto* button = Child<QPushButton>(window, "cmdAction");
    return QTest::qWaitFor([&] { return !window.isVisible() || button->text() != "&Cancel"; }, RunTimeout);
}

void frmExamDownloaderTest::updateStatus_data()
{
    QTest::addColumn<double>("total");
    QTest::addColumn<double>("downloaded");
    QTest::addColumn<double>("rate");
    QTest::addColumn<QStringList>("labels"); // size, received, rate
    QTest::newRow("all zero") << 0.0 << 0.0 << 0.0 << QStringList { "NA", "NA", "NA" };
    QTest::newRow("received just below 999 KB") << 2e6 << 1022975.0 << 0.0
                                                << QStringList { "1.91 MB", "999 KB", "NA" };
    QTest::newRow("received at 999 KB") << 2e6 << 1022976.0 << 0.0 << QStringList { "1.91 MB", "999.00 KB", "NA" };
    QTest::newRow("rate 99") << 0.0 << 0.0 << 99.0 << QStringList { "NA", "NA", "99 bytes/s" };
    QTest::newRow("rate 100") << 0.0 << 0.0 << 100.0 << QStringList { "NA", "NA", "100 bytes/s" };
    QTest::newRow("rate in kilobytes, no decimals") << 0.0 << 0.0 << 1536.0 << QStringList { "NA", "NA", "2 KB/s" };
}

void frmExamDownloaderTest::updateStatus()
{
    QFETCH(double, total);
    QFETCH(double, downloaded);
    QFETCH(double, rate);
    frmExamDownloader window;
    window.UpdateStatus("Downloading: 101.exe", total, downloaded, rate);
    QTEST((QStringList { Child<QLabel>(window, "lblTotal")->text(), Child<QLabel>(window, "lblDownloaded")->text(),
              Child<QLabel>(window, "lblRate")->text() }),
        "labels");
}

void frmExamDownloaderTest::setProgress_data()
{
    QTest::addColumn<float>("first");
    QTest::addColumn<float>("second");
    QTest::addColumn<int>("shown");
    QTest::newRow("step under 10 units kept back") << 0.0f << 0.0019f << 0;
    QTest::newRow("step of 10 units shown") << 0.0f << 0.0021f << 10;
    QTest::newRow("small step back kept back") << 0.5f << 0.499f << 2400;
    QTest::newRow("step of 10 units back shown") << 0.5f << 0.4979f << 2390;
    QTest::newRow("full") << 0.0f << 1.0f << 4800;
    QTest::newRow("above 100 is full") << 0.0f << 250.0f << 4800;
}

void frmExamDownloaderTest::setProgress()
{
    QFETCH(float, first);
    QFETCH(float, second);
    frmExamDownloader window;
    window.SetProgress(first);
    window.SetProgress(second);
    QTEST(Child<QProgressBar>(window, "picProgress")->value(), "shown");
}

void frmExamDownloaderTest::progressSimulatorFallsBackToHalf()
{
    frmExamDownloader window;
    auto* bar = Child<QProgressBar>(window, "picProgress");
    int tick = 0;
    for (; tick < 10; ++tick)
        window.tmrProgressSimulator_Timer();
    QCOMPARE(bar->value(), 48);
    for (; tick < 990; ++tick)
        window.tmrProgressSimulator_Timer();
    QVERIFY(bar->value() >= 4740);
    for (; tick < 1001; ++tick)
        window.tmrProgressSimulator_Timer();
    QCOMPARE(bar->value(), 2400);
}

void frmExamDownloaderTest::emptyEntriesAreRefused_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("box");
    QTest::addColumn<QString>("focus");
    QTest::newRow("blank user ID") << "   " << "pw" << "Please enter your User ID." << "txtEmail";
    QTest::newRow("blank password") << "me" << "  " << "Please enter your password." << "txtPassword";
}

void frmExamDownloaderTest::emptyEntriesAreRefused()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    frmExamDownloader window;
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    Start(window, user, password);
    const QList<MessageSeam::Shown> shown = MessageSeam::TakeShown();
    QCOMPARE(shown.size(), 1);
    QTEST(shown[0].Text, "box");
    QCOMPARE(shown[0].Style, 48);
    QTEST(QApplication::focusWidget()->objectName(), "focus");
    QCOMPARE(Child<QPushButton>(window, "cmdAction")->text(), "&Start");
    QVERIFY(!Child<InternetTransfer>(window, "icRequestDispatcher")->StillExecuting());
}

void frmExamDownloaderTest::fullRunWithRememberedCredentials()
{
    StartCourier(m_realPacks, { "101", "102" });
    const QStringList filesBefore = FilesOutsideAllowedFolders();
    {
        frmExamDownloader window;
        window.show();
        // The label ticks the box as well as the box itself.
        QTest::mouseClick(Child<QLabel>(window, "lblRemember"), Qt::LeftButton);
        QVERIFY(Child<QCheckBox>(window, "chkRemember")->isChecked());
        Start(window, "  " + User, Password + " ");
        QCOMPARE(Child<QPushButton>(window, "cmdAction")->text(), "&Cancel");
        QVERIFY(WaitForEnd(window));

        QCOMPARE(MessageSeam::TakeShown().size(), 0);
        QCOMPARE(Child<QLabel>(window, "lblInfo")->text(), "Completed");
        QCOMPARE(Child<QPushButton>(window, "cmdAction")->text(), "&Close");
        QVERIFY(IsExamInstalled("101"));
        QVERIFY(IsExamInstalled("102"));
        QCOMPARE(ReportedLists(), QStringList { "101,102" });
        // The packs were deleted after they ran.
        QDirIterator packs(m_home->path() + "/tmp", { "*.exe" }, QDir::Files, QDirIterator::Subdirectories);
        QVERIFY(!packs.hasNext());

        auto* autoClose = Child<QTimer>(window, "tmrAutoClose");
        QVERIFY(autoClose->isActive());
        QCOMPARE(autoClose->interval(), 1000);
        window.tmrAutoClose_Timer();
        QVERIFY(!window.isVisible());
    }
    QCOMPARE(FilesOutsideAllowedFolders(), filesBefore);

    // Stored as typed, the password enciphered.
    qint32 type = 0;
    QCOMPARE(Registry::ReadValue(Registry::HKEY_CURRENT_USER, CourierKey, "User ID", &type).toString(), "  " + User);
    const QByteArray cipher = Registry::ReadValue(Registry::HKEY_CURRENT_USER, CourierKey, "Password", &type).toByteArray();
    QCOMPARE(type, Registry::REG_BINARY);
    QCOMPARE(cipher.size(), (Password + " ").size());
    QVERIFY(!cipher.contains("s3cret"));

    // Remembered; unticking forgets both on close.
    frmExamDownloader again;
    again.show();
    QCOMPARE(Child<QLineEdit>(again, "txtEmail")->text(), "  " + User);
    QCOMPARE(Child<QLineEdit>(again, "txtPassword")->text(), Password + " ");
    QVERIFY(Child<QCheckBox>(again, "chkRemember")->isChecked());
    QTest::mouseClick(Child<QLabel>(again, "lblRemember"), Qt::LeftButton);
    QVERIFY(again.close());
    for (const char* name : { "User ID", "Password" }) {
        Registry::ReadValue(Registry::HKEY_CURRENT_USER, CourierKey, name, &type);
        QCOMPARE(type, Registry::REG_NONE);
    }
}

void frmExamDownloaderTest::declinedOverwriteEndsWithoutReport()
{
    QVERIFY(Run(m_realPacks + "/101.pack", {}));
    QVERIFY(IsExamInstalled("101"));
    StartCourier(m_markerPacks, { "101" });
    frmExamDownloader window;
    window.show();
    MessageSeam::SetNextAnswer(MessageSeam::No);
    Start(window, User, Password);
    QVERIFY(WaitForEnd(window));

    const QList<MessageSeam::Shown> shown = MessageSeam::TakeShown();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown[0].Text, "Exam 101 is already installed on this computer. Do you want to overwrite the existing exam?");
    QCOMPARE(shown[0].Style, 36);
    QCOMPARE(Child<QLabel>(window, "lblInfo")->text(), "Completed");
    QVERIFY(Child<QTimer>(window, "tmrAutoClose")->isActive());
    QCOMPARE(ReportedLists(), QStringList {});
    QCOMPARE(Markers(), QStringList {});
}

void frmExamDownloaderTest::hostileServer_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QStringList>("boxes"); // patterns, one per box in order
    QTest::addColumn<QString>("status");
    QTest::addColumn<QString>("caption"); // empty when the window closed itself
    QTest::addColumn<QStringList>("reports"); // the REPORT lists the server received
    QTest::addColumn<QStringList>("markers");

    const QStringList bothFailed { InstallFailed("101"), InstallFailed("102") };
    const QStringList none;
    const QStringList bothRan { "ran-101", "ran-102" };
    const QString connecting = "Connecting to Practorium Download Server";
    const QString communication = Literal("Cannot continue because there seems to be a problem with your internet "
                                          "connection or Practorium's PackCourier Service. If the problem persists, "
                                          "please contact Practorium support.");
    QTest::newRow("wrong password") << "" << "wrong" << QStringList { Literal("Cannot continue because the User ID or password is incorrect") }
                                    << "Authentication failed!" << "&Start" << none << none;
    QTest::newRow("ERROR reply") << "error-reply" << Password
                                 << QStringList { Literal("The PackCourier service is closed for maintenance. Please try again later.") }
                                 << connecting << "" << none << none;
    QTest::newRow("empty body waits") << "empty-body" << Password << none << connecting << "&Cancel" << none << none;
    QTest::newRow("not a message") << "not-a-message" << Password << QStringList { communication }
                                   << "Error communicating to server" << "&Close" << none << none;
    QTest::newRow("10 MB reply") << "huge-reply" << Password << QStringList { communication }
                                 << "Error communicating to server" << "&Close" << none << none;
    QTest::newRow("dropped mid-pack") << "drop-mid-pack" << Password << bothFailed << "Completed" << "&Close"
                                      << QStringList { "" } << none;
    QTest::newRow("content-length too large") << "length-too-large" << Password << bothFailed << "Completed"
                                              << "&Close" << QStringList { "" } << none;
    QTest::newRow("content-length too small") << "length-too-small" << Password << bothFailed << "Completed"
                                              << "&Close" << QStringList { "" } << none;
    QTest::newRow("404 page instead of a pack") << "not-found-pack" << Password << bothFailed << "Completed"
                                                << "&Close" << QStringList { "" } << none;
    // Also the control: the marker packs of the two good IDs arrive whole and run.
    QTest::newRow("unsafe exam IDs") << "bad-exam-ids" << Password
                                     << QStringList { InstallFailed("../evil"), InstallFailed(""),
                                            InstallFailed("sub/evil"), InstallFailed(".."), InstallFailed("/tmp/evil"),
                                            InstallFailed(QString("nul") + QChar(0) + "evil") }
                                     << "Completed" << "&Close" << QStringList { "101,102" } << bothRan;
    QTest::newRow("never answers") << "never-answer" << Password
                                   << QStringList { Literal("Error (0x4) ") + ".*"
                                       + Literal("\r\nUnable to perform this operation. Make sure you are connected to Internet.") }
                                   << connecting << "&Close" << none << none;
}

void frmExamDownloaderTest::hostileServer()
{
    QFETCH(QString, mode);
    QFETCH(QString, password);
    QFETCH(QStringList, boxes);
    QFETCH(QString, caption);
    StartCourier(m_markerPacks, { "101", "102" }, mode);
    const QStringList filesBefore = FilesOutsideAllowedFolders();
    const bool evilBefore = QFile::exists("/tmp/evil.exe");
    {
        frmExamDownloader window;
        window.show();
        // The server's password digest is slow on purpose; only a server
        // that never answers gets a short limit.
        if (mode == "never-answer")
            Child<InternetTransfer>(window, "icRequestDispatcher")->SetTimeout(300);
        Start(window, User, password);
        if (mode == "empty-body") // nothing is dispatched; the bar still goes to full
            QTRY_COMPARE_WITH_TIMEOUT(Child<QProgressBar>(window, "picProgress")->value(), 4800, RunTimeout);
        else
            QVERIFY(WaitForEnd(window));

        const QList<MessageSeam::Shown> shown = MessageSeam::TakeShown();
        QCOMPARE(shown.size(), boxes.size());
        for (qsizetype i = 0; i < shown.size(); ++i) {
            QVERIFY2(QRegularExpression("\\A(?:" + boxes[i] + ")\\z").match(shown[i].Text).hasMatch(),
                qPrintable(shown[i].Text));
            QCOMPARE(shown[i].Style, 16);
        }
        QTEST(Child<QLabel>(window, "lblInfo")->text(), "status");
        QCOMPARE(window.isVisible(), !caption.isEmpty());
        if (window.isVisible()) {
            QCOMPARE(Child<QPushButton>(window, "cmdAction")->text(), caption);
            QVERIFY(Child<QPushButton>(window, "cmdAction")->isEnabled());
        }
        // Nothing ran that should not have: the stub packs of unsafe IDs and
        // cut packs would leave "<file>.ran" or a marker.
        QDirIterator ran(m_home->path(), { "*.ran", "*evil*" }, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        QVERIFY2(!ran.hasNext(), qPrintable(ran.hasNext() ? ran.next() : QString()));
        QTEST(Markers(), "markers");

        // The window stays usable: it closes.
        window.close();
        QVERIFY(!window.isVisible());
    }
    QTEST(ReportedLists(), "reports");
    QCOMPARE(FilesOutsideAllowedFolders(), filesBefore);
    QCOMPARE(QFile::exists("/tmp/evil.exe"), evilBefore);
}

QTEST_MAIN(frmExamDownloaderTest)
#include "frmExamDownloaderTest.moc"
