#include "model/IO.h"

#include "model/Common.h"
#include "model/Error.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QStandardPaths>

#include <dirent.h>
#include <glob.h>
#include <sys/stat.h>

#include <cmath>

namespace {

struct FolderMacro
{
    const char* name;
    qint32 id;
};

// The shell-folder identifiers stay those of the exam packs' installers, so a
// macro keeps its number whatever folder it stands for here.
constexpr FolderMacro FolderMacros[] = {
    { "$(DESKTOP)", 0 },
    { "$(PROGRAMSMENU)", 2 },
    { "$(MYDOCUMENTS)", 5 },
    { "$(FAVORITES)", 6 },
    { "$(STARTUP)", 7 },
    { "$(RECENT)", 8 },
    { "$(SENDTO)", 9 },
    { "$(STARTMENU)", 11 },
    { "$(DESKTOPFOLDER)", 16 },
    { "$(NETWORK)", 18 },
    { "$(NETHOOD)", 19 },
    { "$(FONTS)", 20 },
    { "$(TEMPLATES)", 21 },
    { "$(ALLUSERSSTARTMENU)", 22 },
    { "$(ALLUSERSPROGRAMSMENU)", 23 },
    { "$(ALLUSERSSTARTUP)", 24 },
    { "$(ALLUSERSDESKTOP)", 25 },
    { "$(APPDATA)", 26 },
    { "$(PRINTHOOD)", 27 },
    { "$(LOCALAPPDATA)", 28 },
    { "$(ALLUSERSFAVORITES)", 31 },
    { "$(INTERNETCACHE)", 32 },
    { "$(COOKIES)", 33 },
    { "$(HISTORY)", 34 },
    { "$(ALLUSERSAPPDATA)", 35 },
    { "$(WINDOWS)", 36 },
    { "$(SYSTEM)", 37 },
    { "$(PROGRAMFILES)", 38 },
    { "$(MYPICTURES)", 39 },
    { "$(PROFILE)", 40 },
    { "$(COMMONFILES)", 43 },
    { "$(ALLUSERSTEMPLATES)", 45 },
    { "$(ALLUSERSDOCUMENTS)", 46 },
    { "$(ALLUSERSADMINTOOLS)", 47 },
};

QString Writable(QStandardPaths::StandardLocation location, const QString& subfolder = QString())
{
    const QString folder = QStandardPaths::writableLocation(location);
    return folder.isEmpty() || subfolder.isEmpty() ? folder : folder + QLatin1Char('/') + subfolder;
}

// The glob(3) pattern that matches what a Windows find-first matches: only "*"
// and "?" are wildcards, so "[" and "\" in a name stand for themselves, and
// names starting with "." are found like any other.
QByteArray FindPattern(const QString& path)
{
    QByteArray pattern;
    for (const char c : QFile::encodeName(path)) {
        if (c == '[' || c == '\\')
            pattern += '\\';
        pattern += c;
    }
    return pattern;
}

} // namespace

qint32 GetFolderID(const QString& macro)
{
    const QString name = TrimBlanks(macro).toUpper();
    for (const FolderMacro& entry : FolderMacros) {
        if (name == QLatin1String(entry.name))
            return entry.id;
    }
    return 0;
}

// Linux stands-ins for the shell folders. Folders Linux has no place for give
// empty text, as a failed lookup does.
//
//   id  macro                    folder
//    0  DESKTOP                  desktop directory (xdg-user-dirs, ~/Desktop)
//    2  PROGRAMSMENU             $XDG_DATA_HOME/applications
//    5  MYDOCUMENTS              documents (xdg-user-dirs, ~/Documents)
//    7  STARTUP                  $XDG_CONFIG_HOME/autostart
//   11  STARTMENU                $XDG_DATA_HOME/applications
//   16  DESKTOPFOLDER            desktop directory
//   20  FONTS                    $XDG_DATA_HOME/fonts
//   21  TEMPLATES                ~/Templates
//   22  ALLUSERSSTARTMENU        /usr/share/applications
//   23  ALLUSERSPROGRAMSMENU     /usr/share/applications
//   24  ALLUSERSSTARTUP          /etc/xdg/autostart
//   26  APPDATA                  $XDG_CONFIG_HOME (~/.config)
//   28  LOCALAPPDATA             $XDG_DATA_HOME (~/.local/share)
//   32  INTERNETCACHE            $XDG_CACHE_HOME (~/.cache)
//   35  ALLUSERSAPPDATA          /usr/share
//   36  WINDOWS                  /usr
//   37  SYSTEM                   /usr/lib
//   38  PROGRAMFILES             $XDG_DATA_HOME (~/.local/share): exam packs
//                                install per user, without root
//   39  MYPICTURES               pictures (xdg-user-dirs, ~/Pictures)
//   40  PROFILE                  $HOME
//   43  COMMONFILES              /usr/share
//   else (favourites, recent, send to, network, nethood, all users' desktop,
//   printhood, all users' favourites, cookies, history, all users' templates,
//   documents and admin tools)   empty
QString GetSpecialFolder(const QString& macro)
{
    switch (GetFolderID(macro)) {
    case 0:
    case 16:
        return Writable(QStandardPaths::DesktopLocation);
    case 2:
    case 11:
        return Writable(QStandardPaths::GenericDataLocation, QStringLiteral("applications"));
    case 5:
        return Writable(QStandardPaths::DocumentsLocation);
    case 7:
        return Writable(QStandardPaths::GenericConfigLocation, QStringLiteral("autostart"));
    case 20:
        return Writable(QStandardPaths::FontsLocation);
    case 21:
        return QDir::homePath() + QStringLiteral("/Templates");
    case 22:
    case 23:
        return QStringLiteral("/usr/share/applications");
    case 24:
        return QStringLiteral("/etc/xdg/autostart");
    case 26:
        return Writable(QStandardPaths::GenericConfigLocation);
    case 28:
    case 38:
        return Writable(QStandardPaths::GenericDataLocation);
    case 32:
        return Writable(QStandardPaths::GenericCacheLocation);
    case 35:
    case 43:
        return QStringLiteral("/usr/share");
    case 36:
        return QStringLiteral("/usr");
    case 37:
        return QStringLiteral("/usr/lib");
    case 39:
        return Writable(QStandardPaths::PicturesLocation);
    case 40:
        return QDir::homePath();
    default:
        return QString();
    }
}

QString CombinePath(const QString& folder, const QString& name)
{
    const QString trimmed = TrimBlanks(folder);
    const bool hasSeparator = trimmed.endsWith(QLatin1Char('/'));
    QString path;
    path.reserve(trimmed.size() + 1 + name.size());
    path += trimmed;
    if (!hasSeparator)
        path += QLatin1Char('/');
    path += name;
    return path;
}

bool FileExists(const QString& path)
{
    // Without wildcards the search finds exactly the entry itself (a dangling
    // link included), which one lstat answers.
    if (!path.contains(QLatin1Char('*')) && !path.contains(QLatin1Char('?'))) {
        struct stat status {};
        return !path.isEmpty() && ::lstat(QFile::encodeName(path).constData(), &status) == 0;
    }
    glob_t found {};
    const int result = glob(FindPattern(path).constData(), GLOB_NOSORT | GLOB_PERIOD, nullptr, &found);
    globfree(&found);
    if (result == GLOB_NOSPACE)
        Error::Raise(ErrorNumber::OutOfMemory, QStringLiteral("IO:FileExists()"), QStringLiteral("Out of memory"));
    return result == 0;
}

QStringList GetSubFolders(const QString& folder)
{
    // In the order the system lists them. The entry type comes with the
    // listing; only links and file systems that do not report types need a
    // stat, which follows links so that a link to a folder counts as one. A
    // folder that is missing or cannot be read lists nothing.
    QStringList folders;
    const QByteArray base = QFile::encodeName(CombinePath(folder, QString()));
    DIR* dir = ::opendir(base.constData());
    if (!dir)
        return folders;
    while (const dirent* entry = ::readdir(dir)) {
        bool isFolder = entry->d_type == DT_DIR;
        if (entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN) {
            struct stat status {};
            isFolder = ::stat((base + entry->d_name).constData(), &status) == 0 && S_ISDIR(status.st_mode);
        }
        if (isFolder)
            folders.append(QFile::decodeName(entry->d_name));
    }
    ::closedir(dir);
    return folders;
}

// The extension is the text after the path's last ".", even when that dot
// lies in a folder name ("a.b/c" has the extension "b/c"). The program passes
// these helpers file names and exam paths whose last dot is in the file name.
QString GetExtension(const QString& path)
{
    const QString trimmed = TrimBlanks(path);
    const qsizetype dot = trimmed.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? QString() : trimmed.mid(dot + 1);
}

QString GetFileName(const QString& path, bool stripExtension)
{
    QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    // When the name holds no ".", the path's extension lies in a folder name
    // and none of it is in the name.
    if (stripExtension) {
        const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
        if (dot >= 0)
            name.truncate(dot);
    }
    return name;
}

// An empty extension only removes the old one: there is nothing to join.
QString ChangeExtension(QString& path, const QString& extension)
{
    qsizetype first = 0;
    while (first < extension.size() && extension[first] == QLatin1Char('.'))
        ++first;
    const QString suffix = extension.mid(first);

    const qsizetype dot = path.lastIndexOf(QLatin1Char('.'));
    if (dot >= 0)
        path.truncate(dot);
    if (!suffix.isEmpty())
        path += QLatin1Char('.') + suffix;
    return path;
}

QString GetTempFolder()
{
    return QDir::tempPath();
}

QString FormatSize(double size, qint16 decimals)
{
    struct Unit
    {
        double limit; // exclusive bound on whole kilobytes
        double divisor;
        const char* text;
    };
    // The unit is chosen on a decimal bound and the value divided by a binary
    // power, which is why 1,024,000 bytes show as "0.98 MB".
    static constexpr Unit Units[] = {
        { 1e3, 0x1p10, " KB" },
        { 1e6, 0x1p20, " MB" },
        { 1e9, 0x1p30, " GB" },
        { 1e12, 0x1p40, " TB" },
        { 1e15, 0x1p50, " PB" },
    };

    // The user's locale (or the one a test sets as default), with grouping
    // forced on: the "C" locale leaves it off.
    QLocale locale;
    locale.setNumberOptions(locale.numberOptions() & ~QLocale::OmitGroupSeparator);

    const double k = std::trunc(size / 1024);
    if (k < 1)
        return locale.toString(size, 'f', 0) + QStringLiteral(" bytes");
    const int precision = qMax<int>(decimals, 0);
    for (const Unit& unit : Units) {
        if (k < unit.limit)
            return locale.toString(size / unit.divisor, 'f', precision) + QLatin1String(unit.text);
    }
    return locale.toString(size / 0x1p60, 'f', precision) + QStringLiteral(" EB");
}
