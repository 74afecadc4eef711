#include "session/frmExhibit.h"

#include "model/Common.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "model/IO.h"
#include "shell/Common.h"
#include "shell/Globals.h"

#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QImageReader>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QShortcut>
#include <QStyle>
#include <QWheelEvent>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString SrcSetExhibit = QStringLiteral("frmExhibit::SetExhibit()");

// The classic command button's width, so "Close" does not shrink to its text.
constexpr qint32 MinButtonWidth = 1215;

[[noreturn]] void RaiseInvalidPicture()
{
    Error::Raise(ErrorNumber::InvalidPicture, QString(), QStringLiteral("Invalid picture"));
}

[[noreturn]] void RaiseErrno(int code)
{
    errno = code;
    CheckApiResult(false);
    Q_UNREACHABLE();
}

// Everything before the last "/"; an exam file named without a folder lies in
// the working folder.
QString FolderOf(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? QStringLiteral(".") : path.left(slash);
}

// Reads a picture of any format the image plugins know, by its content
// rather than its name. The file is opened through the system first so that
// a missing or unreadable file reports its own error.
QImage LoadPicture(const QString& path)
{
    int fd;
    do {
        // Non-blocking so that a FIFO under a picture's name cannot hang us.
        fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    } while (fd < 0 && errno == EINTR);
    CheckApiResult(fd >= 0);

    QFile file;
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        RaiseInvalidPicture();
    }
    struct stat st {};
    CheckApiResult(::fstat(fd, &st) == 0);
    if (S_ISDIR(st.st_mode))
        RaiseErrno(EISDIR);
    if (!S_ISREG(st.st_mode) || st.st_size == 0)
        RaiseInvalidPicture();

    QImageReader reader(&file);
    // The header's size is checked before decoding, so a small file claiming
    // a huge picture is refused without allocating for it. Formats that cannot
    // tell their size beforehand are held by the reader's allocation limit.
    const QSize size = reader.size();
    if (size.isValid() && qint64(size.width()) * size.height() > frmExhibit::MaxPicturePixels)
        RaiseInvalidPicture();
    QImage picture;
    if (!reader.read(&picture) || picture.isNull()
        || qint64(picture.width()) * picture.height() > frmExhibit::MaxPicturePixels) {
        RaiseInvalidPicture();
    }
    return picture;
}

QRect ToPixels(const TwipsRect& rect)
{
    const int left = Twips::ToPixels(rect.Left);
    const int top = Twips::ToPixels(rect.Top);
    return QRect(left, top, Twips::ToPixels(rect.Right) - left, Twips::ToPixels(rect.Bottom) - top);
}

} // namespace

frmExhibit::frmExhibit(QWidget* owner)
    : QDialog(owner)
{
    setWindowTitle(QStringLiteral("Exhibit"));

    m_picClipper = new QWidget(this);
    m_picClipper->setObjectName(QStringLiteral("picClipper"));
    m_picExhibit = new QLabel(m_picClipper);
    m_picExhibit->setObjectName(QStringLiteral("picExhibit"));
    m_picExhibit->setAccessibleName(QStringLiteral("Exhibit"));

    m_vsbScroll = new QScrollBar(Qt::Vertical, this);
    m_vsbScroll->setObjectName(QStringLiteral("vsbScroll"));
    m_vsbScroll->setAccessibleName(QStringLiteral("Scroll the exhibit"));
    m_vsbScroll->hide();
    // Tracking is on, so this also follows the thumb while it is dragged.
    connect(m_vsbScroll, &QScrollBar::valueChanged, this, &frmExhibit::vsbScroll_Change);

    m_cmdClose = new QPushButton(QStringLiteral("&Close"), this);
    m_cmdClose->setObjectName(QStringLiteral("cmdClose"));
    m_cmdClose->setDefault(true);
    connect(m_cmdClose, &QPushButton::clicked, this, &QDialog::close);

    // Shortcuts rather than key handlers: the focused button would otherwise
    // take the arrow keys to move the focus.
    const std::pair<int, QAbstractSlider::SliderAction> keys[] = {
        { Qt::Key_Up, QAbstractSlider::SliderSingleStepSub },
        { Qt::Key_Down, QAbstractSlider::SliderSingleStepAdd },
        { Qt::Key_PageUp, QAbstractSlider::SliderPageStepSub },
        { Qt::Key_PageDown, QAbstractSlider::SliderPageStepAdd },
        { Qt::Key_Home, QAbstractSlider::SliderToMinimum },
        { Qt::Key_End, QAbstractSlider::SliderToMaximum },
    };
    for (const auto& [key, action] : keys) {
        auto* shortcut = new QShortcut(QKeySequence(key), this);
        connect(shortcut, &QShortcut::activated, m_vsbScroll, [this, action = action] {
            m_vsbScroll->triggerAction(action);
        });
    }
}

void frmExhibit::SetExhibit(const QString& fileName)
{
    try {
        const std::shared_ptr<Exam>& exam = CurrentExam();
        m_exhibit = CombinePath(FolderOf(exam ? exam->FileName() : QString()), fileName);
        const QImage picture = LoadPicture(m_exhibit);

        const QScreen* display = screen() ? screen() : QGuiApplication::primaryScreen();
        // The screen's height less panels and docks, in logical pixels: at any
        // scale factor the window then fits on the screen as the candidate sees it.
        const qint32 screenHeight = display ? Twips::FromPixels(display->availableGeometry().height()) : 0;
        const QSize button = m_cmdClose->sizeHint();
        const ExhibitLayout layout = ExhibitGeometry::Layout(Twips::FromPixels(picture.width()),
            Twips::FromPixels(picture.height()), screenHeight,
            Twips::FromPixels(style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, m_vsbScroll)),
            std::max(Twips::FromPixels(button.width()), MinButtonWidth), Twips::FromPixels(button.height()));

        m_picExhibit->setPixmap(QPixmap::fromImage(picture));
        ApplyLayout(layout, picture.size());
    } catch (...) {
        Error::Rethrow(SrcSetExhibit);
    }
}

void frmExhibit::Open(const QString& fileName)
{
    try {
        SetExhibit(fileName);
    } catch (...) {
        ShowMessage(QStringLiteral("The exhibit cannot be displayed because required files are missing or corrupt. "
                                   "Please reinstall the exam pack."),
            16);
        return;
    }
    show();
    raise();
}

void frmExhibit::ApplyLayout(const ExhibitLayout& layout, QSize pictureSize)
{
    setFixedSize(Twips::ToPixels(layout.WindowWidth), Twips::ToPixels(layout.WindowHeight));
    QRect viewport = ToPixels(layout.Viewport);
    viewport.setWidth(pictureSize.width());
    if (!layout.Scrolls)
        viewport.setHeight(pictureSize.height());
    m_picClipper->setGeometry(viewport);
    m_picExhibit->setGeometry(0, 0, pictureSize.width(), pictureSize.height());
    m_cmdClose->setGeometry(ToPixels(layout.CloseButton));

    // The range is set before the value so that a new picture starts at its top.
    m_vsbScroll->setRange(0, layout.ScrollMax);
    m_vsbScroll->setSingleStep(layout.SmallChange);
    m_vsbScroll->setPageStep(layout.LargeChange);
    m_vsbScroll->setValue(0);
    m_vsbScroll->setGeometry(ToPixels(layout.ScrollBar));
    m_vsbScroll->setVisible(layout.Scrolls);
    vsbScroll_Change(0);
    m_cmdClose->setFocus();
}

void frmExhibit::vsbScroll_Change(int value)
{
    m_picExhibit->move(0,
        ExhibitGeometry::PictureTopPixels(value, m_picExhibit->height(), m_picClipper->height()));
}

void frmExhibit::wheelEvent(QWheelEvent* event)
{
    if (m_vsbScroll->isVisibleTo(this))
        QCoreApplication::sendEvent(m_vsbScroll, event);
    else
        QDialog::wheelEvent(event);
}
