#include "shell/Common.h"

#include "shell/MessageSeam.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QHeaderView>
#include <QProcess>
#include <QScreen>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTreeView>

#include <fcntl.h>
#include <unistd.h>

QString ApplicationTitle()
{
    return QStringLiteral("Practorium");
}

int ShowMessage(const QString& messageTemplate, int style, const QVariantList& values)
{
    if (messageTemplate.isEmpty())
        return 0;
    return MessageSeam::Show(ExpandTemplate(messageTemplate, values, false), style, ApplicationTitle());
}

BrowserPage::BrowserPage()
{
    // Empty when $TMPDIR names no folder: then nothing is written, rather
    // than into the working directory.
    const QString temporary = QDir::tempPath();
    if (temporary.isEmpty())
        return;
    m_folder = std::make_unique<QTemporaryDir>(QDir(temporary).filePath(QStringLiteral("practorium-XXXXXX")));
    if (!m_folder->isValid())
        return;
    const QString path = m_folder->filePath(QStringLiteral("temp.htm"));
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return;
    static constexpr char Content[] = "<HTML></HTML>\n";
    const bool written = ::write(fd, Content, sizeof Content - 1) == ssize_t(sizeof Content - 1);
    if (::close(fd) == 0 && written)
        m_path = path;
}

BrowserPage::~BrowserPage() = default;

void LaunchBrowser(const QString& url)
{
    const BrowserPage page;
    if (page.Path().isEmpty()) {
        MessageSeam::Show(QStringLiteral("Cannot launch browser because an error occured writing to temporary file."),
            0, ApplicationTitle());
        return;
    }
    const QString opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
    if (opener.isEmpty()) {
        MessageSeam::Show(QStringLiteral("Unable to launch the browser"), 48, ApplicationTitle());
    } else if (!QProcess::startDetached(opener, { url })) {
        MessageSeam::Show(QStringLiteral("Unable to load webpage"), 48, ApplicationTitle());
    }
}

void SetColumnTag(QTreeView* list, int column, float percent)
{
    if (list && list->model())
        list->model()->setHeaderData(column, Qt::Horizontal, percent, ColumnTagRole);
}

QList<float> ColumnWidths(float listWidth, const QList<float>& percents)
{
    QList<float> widths;
    widths.reserve(percents.size());
    qsizetype widest = -1;
    for (float percent : percents) {
        widths.append(listWidth * percent / 100.0f);
        if (widths.last() > 0 && (widest < 0 || widths.last() > widths[widest]))
            widest = widths.size() - 1;
    }
    if (widest >= 0)
        widths[widest] -= 50.0f;
    return widths;
}

void SizeColumns(QTreeView* list)
{
    if (!list || !list->model())
        return;
    const int columns = list->model()->columnCount();
    QList<float> percents;
    for (int column = 0; column < columns; ++column)
        percents.append(list->model()->headerData(column, Qt::Horizontal, ColumnTagRole).toFloat());
    // The widths are ours: a stretching last column would undo them.
    list->header()->setStretchLastSection(false);
    const QList<float> widths = ColumnWidths(float(Twips::FromPixels(list->width())), percents);
    for (int column = 0; column < columns; ++column)
        list->setColumnWidth(column, qMax(0, Twips::ToPixels(widths[column])));
}

void CenterHorizontally(QWidget* container, QWidget* control)
{
    if (!container || !control)
        return;
    control->move((container->contentsRect().width() - control->width()) / 2, control->y());
}

TwipsRect GetWorkArea()
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen)
        return {};
    const QRect area = screen->availableGeometry();
    return TwipsRect { Twips::FromPixels(area.left()), Twips::FromPixels(area.top()),
        Twips::FromPixels(area.left() + area.width()), Twips::FromPixels(area.top() + area.height()) };
}
