#include "model/IO.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>
#include <QTest>

class IOTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void folderMacros();
    void fileExists();
    void subFolders();
    void pathParts_data();
    void pathParts();
    void formatSize_data();
    void formatSize();

private:
    QTemporaryDir m_home;
    QTemporaryDir m_files;
};

void IOTest::initTestCase()
{
    // Every folder the lookups can reach is a default under the temporary home.
    qputenv("HOME", QFile::encodeName(m_home.path()));
    for (const char* name : { "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME" })
        qunsetenv(name);
    QVERIFY(QDir(m_files.path()).mkpath("sub"));
    for (const char* name : { "ABC-101.exam", ".hidden", "Exam [1].exam", "Exam 2.exam", "back\\slash" })
        QVERIFY(QFile(m_files.filePath(name)).open(QIODevice::WriteOnly));
}

void IOTest::folderMacros()
{
    // The first, the last and the one the program uses; only spaces are
    // trimmed and case is ignored; anything else is the desktop.
    static const std::pair<const char*, qint32> table[] = { { "$(DESKTOP)", 0 }, { "$(APPDATA)", 26 },
        { "$(ALLUSERSADMINTOOLS)", 47 }, { " $(programFiles) ", 38 }, { "\t$(PROGRAMFILES)", 0 },
        { "$(PROGRAMFILES)/X", 0 }, { "", 0 } };
    for (const auto& [macro, id] : table)
        QCOMPARE(GetFolderID(macro), id);
    const QString home = m_home.path();
    QCOMPARE(GetSpecialFolder("$(PROGRAMFILES)"), home + "/.local/share");
    QCOMPARE(GetSpecialFolder("$(PROFILE)"), home);
    QCOMPARE(GetSpecialFolder("$(NOSUCHFOLDER)"), home + "/Desktop"); // the desktop's
    QCOMPARE(GetSpecialFolder("$(NETWORK)"), QString()); // no folder here
    QCOMPARE(CombinePath("/a/", "B"), QString("/a/B"));
    QCOMPARE(CombinePath(" /a", " B "), QString("/a/ B ")); // the name kept as given
    QCOMPARE(CombinePath("", "B"), QString("/B"));
}

// Only "*" and "?" are wildcards: "[2]" must not match "2", nor "\s" match
// "s"; a star finds a hidden file.
void IOTest::fileExists()
{
    QVERIFY(FileExists(m_files.filePath("ABC-101.exam")) && FileExists(m_files.filePath("*.hidden")));
    QVERIFY(FileExists(m_files.filePath("Exam [1].exa?")) && !FileExists(m_files.filePath("Exam [2].exa?")));
    QVERIFY(FileExists(m_files.filePath("back\\slas?")));
}

void IOTest::subFolders()
{
    QTemporaryDir dir;
    QDir root(dir.path());
    QCOMPARE(GetSubFolders(dir.path()).size(), 2); // "." and ".." of an empty folder
    QVERIFY(root.mkpath("one") && root.mkpath(".two") && root.mkpath("elsewhere"));
    QVERIFY(QFile::link(root.filePath("elsewhere"), root.filePath("link")));
    QVERIFY(QFile::link(root.filePath("gone"), root.filePath("dangling")));
    QVERIFY(QFile(root.filePath("file.exam")).open(QIODevice::WriteOnly));
    QStringList names = GetSubFolders(dir.path() + "  ");
    names.sort();
    QCOMPARE(names, QStringList({ ".", "..", ".two", "elsewhere", "link", "one" }));
    QCOMPARE(GetSubFolders(dir.filePath("missing")), QStringList());
}

void IOTest::pathParts_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("stem");
    QTest::addColumn<QString>("extension");
    QTest::addColumn<QString>("newExtension");
    QTest::addColumn<QString>("changed");
    QTest::newRow("full path, doubled dot")
        << "/x/ABC-101/ABC-101.exam" << "ABC-101.exam" << "ABC-101" << "exam" << "..zip" << "/x/ABC-101/ABC-101.zip";
    QTest::newRow("last dot, blanks") << " a.b.c  " << " a.b.c  " << " a.b" << "c" << "exam" << " a.b.exam";
    QTest::newRow("no extension") << "ABC-101" << "ABC-101" << "ABC-101" << "" << "exam" << "ABC-101.exam";
    QTest::newRow("hidden file, empty removes") << "/x/.profile" << ".profile" << "" << "profile" << "" << "/x/";
    QTest::newRow("dot only in a folder") << "/x.d/file" << "file" << "file" << "d/file" << "exam" << "/x.exam";
}

void IOTest::pathParts()
{
    QFETCH(QString, path);
    QFETCH(QString, newExtension);
    QTEST(GetFileName(path), "name");
    QTEST(GetFileName(path, true), "stem");
    QTEST(GetExtension(path), "extension");
    QTEST(ChangeExtension(path, newExtension), "changed");
    QTEST(path, "changed"); // changed in place as well
}

void IOTest::formatSize_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::addColumn<double>("size");
    QTest::addColumn<qint16>("decimals");
    QTest::addColumn<QString>("expected");
    const QLocale us(QLocale::English, QLocale::UnitedStates);
    QTest::newRow("zero") << us << 0.0 << qint16(2) << "0 bytes";
    QTest::newRow("last byte count: grouped, no decimals") << us << 1023.0 << qint16(2) << "1,023 bytes";
    QTest::newRow("1000 KB is megabytes") << us << 1024000.0 << qint16(2) << "0.98 MB";
    QTest::newRow("last megabyte row") << us << 999999.0 * 1024 << qint16(2) << "976.56 MB";
    QTest::newRow("petabytes") << us << 1e12 * 1024 << qint16(2) << "0.91 PB";
    QTest::newRow("grouped exabytes") << us << 0x1p70 << qint16(0) << "1,024 EB";
    QTest::newRow("german signs") << QLocale(QLocale::German, QLocale::Germany) << 0x1p70 << qint16(1) << "1.024,0 EB";
}

void IOTest::formatSize()
{
    QFETCH(QLocale, locale);
    QFETCH(double, size);
    QFETCH(qint16, decimals);
    QLocale::setDefault(locale);
    QTEST(FormatSize(size, decimals), "expected");
}

QTEST_GUILESS_MAIN(IOTest)
#include "IOTest.moc"
