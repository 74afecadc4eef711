#include "shell/frmMain.h"

#include "model/Error.h"
#include "model/Exam.h"
#include "shell/Common.h"
#include "shell/ExamListModel.h"
#include "shell/Globals.h"
#include "shell/LinkLabel.h"
#include "shell/MessageSeam.h"
#include "shell/Resources.h"
#include "shell/frmAbout.h"
#include "shell/frmShortcuts.h"
#include "shell/Contrast.h"
#include "shell/FileDialogSeam.h"
#include "shell/frmImport.h"

#include <QApplication>
#include <QCheckBox>
#include <QFileInfo>
#include <QCloseEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QShortcut>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>

namespace {

// The darkest ink of the logo's word mark (resources/logo.svg).
const QColor LogoInk(0x1F, 0x2A, 0x44);

QLabel* Separator(QWidget* parent)
{
    auto* bar = new QLabel(QStringLiteral("|"), parent);
    bar->setForegroundRole(QPalette::PlaceholderText);
    return bar;
}

} // namespace

frmMain::frmMain(QWidget* parent)
    : QWidget(parent)
{
    InitResources();
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(ApplicationTitle());
    setWindowIcon(LoadIcon(QStringLiteral(":/icons/Complete")));
    resize(960, 560);
    setMinimumSize(520, 380);

    m_picLogo = new QLabel(this);
    m_picLogo->setObjectName(QStringLiteral("picLogo"));
    // Drawn at the header's size; the twice-as-large twin on dense screens.
    const bool dense = devicePixelRatioF() > 1.0;
    QPixmap logo = LoadPicture(dense ? QStringLiteral(":/LogoHeader@2x") : QStringLiteral(":/LogoHeader"));
    logo.setDevicePixelRatio(dense ? 2.0 : 1.0);
    m_picLogo->setPixmap(logo);
    m_picLogo->setContentsMargins(4, 4, 4, 4);

    auto* prompt = new QLabel(tr("Choose an exam to sit:"), this);

    m_exams = new ExamListModel(this);
    m_lvwExams = new QTreeView(this);
    m_lvwExams->setObjectName(QStringLiteral("lvwExams"));
    m_lvwExams->setModel(m_exams);
    m_lvwExams->setRootIsDecorated(false);
    m_lvwExams->setUniformRowHeights(true);
    m_lvwExams->setAlternatingRowColors(true);
    m_lvwExams->setSelectionMode(QAbstractItemView::SingleSelection);
    m_lvwExams->setAllColumnsShowFocus(true);
    m_lvwExams->header()->setSectionsMovable(false);
    m_lvwExams->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    prompt->setBuddy(m_lvwExams);
    SetColumnTag(m_lvwExams, 0, 10);
    SetColumnTag(m_lvwExams, 1, 90);
    // Double-click starts the exam; Enter too (see eventFilter). Not
    // "activated": some styles activate on a single click.
    connect(m_lvwExams, &QAbstractItemView::doubleClicked, this, &frmMain::cmdStart_Click);
    m_lvwExams->installEventFilter(this);

    m_lblStatus = new QLabel(this);
    m_lblStatus->setObjectName(QStringLiteral("lblStatus"));
    m_lblDownload = new LinkLabel(this);
    m_lblDownload->setObjectName(QStringLiteral("lblDownload"));
    m_lblDownload->SetCaption(tr("Download exams"));
    m_lblHistory = new LinkLabel(this);
    m_lblHistory->setObjectName(QStringLiteral("lblHistory"));
    m_lblHistory->SetCaption(tr("History"));
    connect(m_lblHistory, &LinkLabel::clicked, this, &frmMain::historyRequested);
    auto* historyShortcut = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_H), this);
    connect(historyShortcut, &QShortcut::activated, this, &frmMain::historyRequested);
    m_lblAbout = new LinkLabel(this);
    m_lblAbout->setObjectName(QStringLiteral("lblAbout"));
    m_lblAbout->SetCaption(tr("About"));
    m_lblProductLink = new LinkLabel(this);
    m_lblProductLink->setObjectName(QStringLiteral("lblProductLink"));
    m_lblProductLink->SetCaption(tr("More exams online"));
    m_lblProductLink->SetHRef(QString::fromLatin1(ProductsPage));
    m_lblImport = new LinkLabel(this);
    m_lblImport->setObjectName(QStringLiteral("lblImport"));
    m_lblImport->SetCaption(tr("Import questions\u2026"));
    connect(m_lblImport, &LinkLabel::clicked, this, &frmMain::cmdImport_Click);
    auto* importKey = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_I), this);
    connect(importKey, &QShortcut::activated, this, &frmMain::cmdImport_Click);
    frmShortcuts::AddHelpKey(this);
    // A question bank dropped on the catalogue is imported.
    m_lvwExams->viewport()->setAcceptDrops(true);
    m_lvwExams->viewport()->installEventFilter(this);
    connect(m_lblDownload, &LinkLabel::clicked, this, &frmMain::downloadRequested);
    connect(m_lblAbout, &LinkLabel::clicked, this, [this] {
        frmAbout about(this);
        about.exec();
    });

    // Alt+S is Study's; Start Exam answers to Alt+E and to Enter.
    m_cmdStart = new QPushButton(tr("Start &Exam"), this);
    m_cmdStart->setObjectName(QStringLiteral("cmdStart"));
    m_cmdStart->setDefault(true);
    connect(m_cmdStart, &QPushButton::clicked, this, &frmMain::cmdStart_Click);
    m_cmdStudy = new QPushButton(tr("&Study"), this);
    m_cmdStudy->setObjectName(QStringLiteral("cmdStudy"));
    m_cmdStudy->setToolTip(tr("Answer the items one by one and check each answer at once"));
    connect(m_cmdStudy, &QPushButton::clicked, this, &frmMain::cmdStudy_Click);
    m_chkMissedOnly = new QCheckBox(tr("&Only items missed last time"), this);
    m_chkMissedOnly->setObjectName(QStringLiteral("chkMissedOnly"));
    m_chkMissedOnly->setEnabled(false);
    m_chkMissedOnly->hide();
    m_cmdExit = new QPushButton(tr("E&xit"), this);
    m_cmdExit->setObjectName(QStringLiteral("cmdExit"));
    connect(m_cmdExit, &QPushButton::clicked, this, &QWidget::close);

    auto* links = new QHBoxLayout;
    links->setSpacing(8);
    links->addWidget(m_lblStatus);
    links->addWidget(m_lblDownload);
    links->addWidget(Separator(this));
    links->addWidget(m_lblImport);
    links->addWidget(Separator(this));
    links->addWidget(m_lblHistory);
    links->addWidget(Separator(this));
    links->addWidget(m_lblAbout);
    links->addWidget(Separator(this));
    links->addWidget(m_lblProductLink);
    links->addStretch(1);
    links->addWidget(m_cmdStudy);
    links->addWidget(m_cmdStart);
    links->addWidget(m_cmdExit);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 12, 16, 12);
    layout->setSpacing(10);
    layout->addWidget(m_picLogo, 0, Qt::AlignLeft);
    layout->addWidget(prompt);
    layout->addWidget(m_lvwExams, 1);
    // On a row of its own, so the status line keeps its width.
    layout->addWidget(m_chkMissedOnly, 0, Qt::AlignRight);
    layout->addLayout(links);

    // A list view takes no name from its buddy label.
    m_lvwExams->setAccessibleName(tr("Installed exams"));
    m_lvwExams->setAccessibleDescription(tr("Enter starts the selected exam"));
    m_lblDownload->setAccessibleDescription(tr("Downloads the exams bought from the vendor"));
    m_lblImport->setAccessibleDescription(tr("Imports a question bank file as an exam"));
    m_lblHistory->setAccessibleDescription(tr("Earlier attempts and their scores"));
    m_lblProductLink->setAccessibleDescription(tr("Opens the vendor's products page in the browser"));

    // The list and its buttons first, then the status line's links from
    // left to right.
    setTabOrder(m_lvwExams, m_cmdStart);
    setTabOrder(m_cmdStart, m_cmdStudy);
    setTabOrder(m_cmdStudy, m_chkMissedOnly);
    setTabOrder(m_chkMissedOnly, m_cmdExit);
    setTabOrder(m_cmdExit, m_lblDownload);
    setTabOrder(m_lblDownload, m_lblImport);
    setTabOrder(m_lblImport, m_lblHistory);
    setTabOrder(m_lblHistory, m_lblAbout);
    setTabOrder(m_lblAbout, m_lblProductLink);
    RefreshExamList();
}

void frmMain::RefreshExamList()
{
    QList<ExamListModel::Row> rows;
    try {
        const QStringList paths = GetInstalledExams();
        rows.reserve(paths.size());
        for (const QString& path : paths) {
            Exam exam;
            try {
                if (!exam.LoadHeader(path) || !exam.IsHeaderComplete())
                    continue;
            } catch (const Error&) {
                continue; // an unreadable or damaged exam is not listed
            }
            rows.append({ exam.Code(), exam.Name(), path });
        }
    } catch (...) {
        // The rows read before the failure are still shown; the status keeps
        // its earlier text.
        m_exams->SetRows(std::move(rows));
        ShowMessage(QStringLiteral("The operation failed because of an unexpected internal error."), 16);
        return;
    }
    m_exams->SetRows(std::move(rows));
    m_lblStatus->setText(FormatText(QStringLiteral("{1} Exams Installed  |  "), { m_exams->rowCount() }));
    if (m_exams->rowCount() > 0)
        m_lvwExams->setCurrentIndex(m_exams->index(0, 0));
}

bool frmMain::SelectExam(const QString& examFile)
{
    const QString wanted = QFileInfo(examFile).canonicalFilePath();
    if (wanted.isEmpty())
        return false;
    const QList<ExamListModel::Row>& rows = m_exams->Rows();
    for (qsizetype row = 0; row < rows.size(); ++row) {
        if (QFileInfo(rows.at(row).Path).canonicalFilePath() == wanted) {
            const QModelIndex index = m_exams->index(int(row), 0);
            m_lvwExams->setCurrentIndex(index);
            m_lvwExams->scrollTo(index);
            return true;
        }
    }
    return false;
}

void frmMain::cmdStart_Click()
{
    if (LoadSelectedExam())
        Q_EMIT examRequested();
}

void frmMain::cmdStudy_Click()
{
    if (LoadSelectedExam())
        Q_EMIT studyRequested(m_chkMissedOnly->isEnabled() && m_chkMissedOnly->isChecked());
}

void frmMain::SetMissedOnlyAvailable(bool available)
{
    m_chkMissedOnly->setEnabled(available);
    m_chkMissedOnly->setVisible(available);
}

bool frmMain::LoadSelectedExam()
{
    if (m_exams->rowCount() == 0) {
        ShowMessage(QStringLiteral("No exams are available. Please install your exam pack(s)."), 48);
        return false;
    }
    const QModelIndexList selected = m_lvwExams->selectionModel()->selectedRows();
    if (selected.isEmpty()) {
        ShowMessage(QStringLiteral("Please select an exam to start"), 48);
        return false;
    }
    const QString path = selected.first().data(ExamListModel::PathRole).toString();
    BeginBusy();
    CurrentExam() = std::make_shared<Exam>();
    CurrentExam()->Load(path);
    EndBusy();
    return true;
}

void frmMain::cmdImport_Click()
{
    const QString path = FileDialogSeam::OpenFileName(this, tr("Import questions"), ImportFileFilter());
    if (!path.isEmpty())
        ImportFile(path);
}

void frmMain::ImportFile(const QString& path)
{
    const QString installed = ImportQuestions(this, path);
    if (installed.isEmpty())
        return;
    RefreshExamList();
    for (int row = 0; row < m_exams->rowCount(); ++row) {
        const QModelIndex index = m_exams->index(row, 0);
        if (QFileInfo(index.data(ExamListModel::PathRole).toString()) == QFileInfo(installed)) {
            m_lvwExams->setCurrentIndex(index);
            m_lvwExams->scrollTo(index);
            break;
        }
    }
}

// The first local file of a drag, empty when it brings none.
static QString DroppedFile(const QMimeData* data)
{
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile())
            return url.toLocalFile();
    }
    return {};
}

bool frmMain::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_lvwExams->viewport()) {
        if (event->type() == QEvent::DragEnter || event->type() == QEvent::DragMove) {
            auto* drag = static_cast<QDragMoveEvent*>(event);
            if (!DroppedFile(drag->mimeData()).isEmpty()) {
                drag->acceptProposedAction();
                return true;
            }
        } else if (event->type() == QEvent::Drop) {
            auto* drop = static_cast<QDropEvent*>(event);
            const QString path = DroppedFile(drop->mimeData());
            if (!path.isEmpty()) {
                drop->acceptProposedAction();
                // After the drag has ended: the import may show dialogs.
                QMetaObject::invokeMethod(this, [this, path] { ImportFile(path); }, Qt::QueuedConnection);
                return true;
            }
        }
    }
    if (watched == m_lvwExams && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            cmdStart_Click();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void frmMain::closeEvent(QCloseEvent* event)
{
    if (ShowMessage(QStringLiteral("Are you sure you want to exit Practorium?"), 36) == MessageSeam::No) {
        event->ignore();
        return;
    }
    event->accept();
    hide();
    QApplication::processEvents();
    Q_EMIT exitConfirmed();
}

void frmMain::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    SizeColumns(m_lvwExams);
}

void frmMain::PaintExamList()
{
    // The rows keep their fixed dark grey; on a dark theme the list's ground
    // (both of its alternating shades) lightens just enough to read it.
    const QPalette window = palette();
    QPalette list = window;
    for (QPalette::ColorRole role : { QPalette::Base, QPalette::AlternateBase }) {
        for (QPalette::ColorGroup group : { QPalette::Active, QPalette::Inactive, QPalette::Disabled })
            list.setColor(
                group, role, Contrast::ReadableBackground({ ExamListModel::RowColor() }, window.color(group, role)));
    }
    m_lvwExams->setPalette(list);
    // The word mark is dark ink drawn for a light ground: on a dark theme the
    // logo gets a white plate of its own.
    const bool dark = Contrast::Ratio(LogoInk, window.color(QPalette::Window)) < Contrast::Minimum;
    m_picLogo->setStyleSheet(dark ? QStringLiteral("QLabel { background: white; border-radius: 8px; }") : QString());
}

void frmMain::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    PaintExamList();
    SizeColumns(m_lvwExams);
    m_lvwExams->setFocus();
}
