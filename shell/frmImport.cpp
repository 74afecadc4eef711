#include "shell/frmImport.h"

#include "exchange/BankFormat.h"
#include "exchange/ExamBuilder.h"
#include "exchange/ExamInstaller.h"
#include "exchange/ZipArchive.h"
#include "model/Exam.h"
#include "shell/Common.h"
#include "shell/Globals.h"
#include "shell/MessageSeam.h"

#include <QDialogButtonBox>
#include <QFile>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

namespace {

// Larger sources are refused before they are read: a real question bank,
// pictures included, is a few MiB.
constexpr qint64 MaxImportBytes = 64 * 1024 * 1024;

int CharactersLost(const exchange::Bank& bank)
{
    int lost = 0;
    for (const exchange::BankItem& item : bank.items) {
        lost += exchange::CharactersLost(item.text) + exchange::CharactersLost(item.generalFeedback);
        for (const exchange::BankOption& option : item.options)
            lost += exchange::CharactersLost(option.text) + exchange::CharactersLost(option.feedback);
    }
    return lost;
}

QString Where(const QString& path, int location)
{
    return location > 0 ? QStringLiteral("%1 (line %2)").arg(QFileInfo(path).fileName()).arg(location)
                        : QFileInfo(path).fileName();
}

} // namespace

frmImport::frmImport(const Summary& summary, const QString& code, const QString& name, QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("frmImport"));
    setWindowTitle(tr("Import questions"));
    resize(560, 400);

    auto* lblSummary = new QLabel(this);
    lblSummary->setObjectName(QStringLiteral("lblSummary"));
    lblSummary->setText(tr("%1: %2 items found, %3 skipped.").arg(summary.source).arg(summary.items).arg(summary.skipped));
    auto* lblLost = new QLabel(this);
    lblLost->setObjectName(QStringLiteral("lblLost"));
    lblLost->setText(summary.charactersLost == 0
            ? tr("Every character can be kept.")
            : tr("%1 characters cannot be kept in an exam file and become \"?\".").arg(summary.charactersLost));

    auto* lstNotes = new QListWidget(this);
    lstNotes->setObjectName(QStringLiteral("lstNotes"));
    lstNotes->setAccessibleName(tr("Notes"));
    lstNotes->setAccessibleDescription(tr("What was left out or changed on the way in"));
    const QString where = summary.locationsAreItems ? tr("Item %1: %2") : tr("Line %1: %2");
    for (const exchange::BankNote& note : summary.notes)
        lstNotes->addItem(note.location > 0 ? where.arg(note.location).arg(note.text) : note.text);
    if (summary.notes.isEmpty())
        lstNotes->addItem(tr("Nothing was left out."));

    m_txtCode = new QLineEdit(code, this);
    m_txtCode->setObjectName(QStringLiteral("txtCode"));
    m_txtName = new QLineEdit(name, this);
    m_txtName->setObjectName(QStringLiteral("txtName"));
    auto* form = new QFormLayout;
    form->addRow(tr("&Code:"), m_txtCode);
    form->addRow(tr("&Name:"), m_txtName);

    auto* buttons = new QDialogButtonBox(this);
    auto* cmdInstall = buttons->addButton(tr("&Install"), QDialogButtonBox::AcceptRole);
    cmdInstall->setObjectName(QStringLiteral("cmdInstall"));
    cmdInstall->setDefault(true);
    auto* cmdCancel = buttons->addButton(QDialogButtonBox::Cancel);
    cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    connect(cmdInstall, &QPushButton::clicked, this, &frmImport::cmdInstall_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblSummary);
    layout->addWidget(lstNotes, 1);
    layout->addWidget(lblLost);
    layout->addLayout(form);
    layout->addWidget(buttons);
}

QString frmImport::Code() const { return m_txtCode->text(); }
QString frmImport::Name() const { return m_txtName->text().trimmed(); }

void frmImport::cmdInstall_Click()
{
    const QString problem = exchange::PackageCodeProblem(Code());
    if (!problem.isEmpty()) {
        ShowMessage(problem, 48);
        m_txtCode->setFocus();
        return;
    }
    if (Name().isEmpty()) {
        ShowMessage(QStringLiteral("Please enter a name for the exam."), 48);
        m_txtName->setFocus();
        return;
    }
    accept();
}

QString ImportFileFilter()
{
    return QObject::tr("Question banks (*.gift *.txt *.xml *.zip *.csv);;All files (*)");
}

QString ImportQuestions(QWidget* parent, const QString& path)
{
    const QString cannot = QStringLiteral("The file {1} cannot be imported:{CRLF}{2}");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        ShowMessage(cannot, 48, { QFileInfo(path).fileName(), file.errorString() });
        return {};
    }
    const QByteArray bytes = file.read(MaxImportBytes + 1);
    if (bytes.size() > MaxImportBytes) {
        ShowMessage(cannot, 48, { QFileInfo(path).fileName(), QStringLiteral("it is larger than 64 MiB") });
        return {};
    }
    const exchange::BankFormat format = exchange::DetectFormat(bytes);
    exchange::Bank bank;
    exchange::ReadFailure failure;
    if (!exchange::ReadBank(format, bytes, bank, failure)) {
        ShowMessage(cannot, 48, { Where(path, failure.location), failure.description });
        return {};
    }
    exchange::ImportOptions options = exchange::ImportOptions::ForSource(path);
    Exam exam;
    QVector<exchange::Picture> pictures;
    QVector<exchange::BankNote> notes;
    if (!exchange::BuildExam(bank, options, exam, pictures, notes, failure)) {
        ShowMessage(cannot, 48, { Where(path, failure.location), failure.description });
        return {};
    }
    QVector<exchange::BankNote> allNotes = bank.notes + notes;
    std::stable_sort(allNotes.begin(), allNotes.end(),
        [](const exchange::BankNote& a, const exchange::BankNote& b) { return a.location < b.location; });
    frmImport::Summary summary { QFileInfo(path).fileName(), int(exam.Questions().Count()), bank.skipped,
        CharactersLost(bank), allNotes,
        format == exchange::BankFormat::Qti && exchange::ZipArchive::IsZip(bytes) };
    frmImport preview(summary, exam.Code(), exam.Name(), parent);
    if (preview.exec() != QDialog::Accepted)
        return {};
    options.code = preview.Code();
    options.name = preview.Name();
    const QString folder = ExamsFolder() + u'/' + options.code;
    if ((IsExamInstalled(options.code) || QFileInfo::exists(folder))
        && ShowMessage(QStringLiteral("An exam with the code {1} is already installed.{CRLF}Do you want to replace it?"), 36,
               { options.code })
            != MessageSeam::Yes)
        return {};
    // Built again so that the exhibits are named after the code chosen.
    if (!exchange::BuildExam(bank, options, exam, pictures, notes, failure)) {
        ShowMessage(cannot, 48, { Where(path, failure.location), failure.description });
        return {};
    }
    QString error;
    if (!exchange::InstallExamPackage(ExamsFolder(), exam, pictures, error)) {
        ShowMessage(QStringLiteral("The exam could not be installed:{CRLF}{1}"), 16, { error });
        return {};
    }
    return folder + u'/' + options.code + QStringLiteral(".exam");
}
