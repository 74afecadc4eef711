#include "shell/frmShortcuts.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

namespace {

// A key entry without a description starts a section.
QString Html()
{
    QString html = QStringLiteral("<table cellspacing=\"0\" cellpadding=\"3\">");
    for (const auto& [keys, does] : frmShortcuts::Entries()) {
        if (does.isEmpty()) {
            html += QStringLiteral("<tr><td colspan=\"2\"><br><b>%1</b></td></tr>").arg(keys.toHtmlEscaped());
            continue;
        }
        html += QStringLiteral(
            "<tr><td style=\"padding-right:18px; white-space:nowrap;\"><b>%1</b></td><td>%2</td></tr>")
                    .arg(keys.toHtmlEscaped(), does.toHtmlEscaped());
    }
    return html + QStringLiteral("</table>");
}

} // namespace

QList<std::pair<QString, QString>> frmShortcuts::Entries()
{
    return {
        { tr("In the catalogue"), {} },
        { tr("Enter, Alt+E"), tr("Start Exam with the selected exam") },
        { tr("Alt+S"), tr("Study the selected exam") },
        { tr("Ctrl+H"), tr("History") },
        { tr("Ctrl+I"), tr("Import questions") },
        { tr("Alt+X"), tr("Exit") },
        { tr("During a sitting"), {} },
        { tr("A-Z, 1-9"), tr("Choose the option with that letter or number") },
        { tr("Shift+letter, right-click"), tr("Strike an option through, again to restore") },
        { tr("Ctrl+Right, Ctrl+Left"), tr("Next, Previous") },
        { tr("Ctrl+End"), tr("Open the review list and ask whether to end the exam") },
        { tr("Alt+N, Alt+P, Alt+R"), tr("Next, Previous, Review") },
        { tr("Alt+M, Alt+X, Alt+W"), tr("Mark the item, Exhibit, Why") },
        { tr("Page Up, Page Down"), tr("Scroll a long item") },
        { tr("Ctrl+Plus (or Ctrl+=)"), tr("Larger text") },
        { tr("Ctrl+Minus"), tr("Smaller text") },
        { tr("Ctrl+0"), tr("Text at its normal size") },
        { tr("Escape"), tr("Close the exhibit, the explanation, the review list or this list") },
        { tr("Anywhere"), {} },
        { tr("F1"), tr("This list") },
    };
}

frmShortcuts::frmShortcuts(QWidget* owner)
    : QDialog(owner)
{
    setObjectName(QStringLiteral("frmShortcuts"));
    setWindowTitle(tr("Keyboard Shortcuts"));
    setModal(false);

    auto* text = new QLabel(Html(), this);
    text->setObjectName(QStringLiteral("lblShortcuts"));
    text->setTextFormat(Qt::RichText);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* close = new QPushButton(tr("&Close"), this);
    close->setObjectName(QStringLiteral("cmdClose"));
    close->setDefault(true);
    connect(close, &QPushButton::clicked, this, &QDialog::close);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(close);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(text);
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    close->setFocus();
}

frmShortcuts* frmShortcuts::ShowFor(QWidget* owner)
{
    // Closing only hides the list: the next F1 shows the same one.
    auto* list = owner->findChild<frmShortcuts*>(QString(), Qt::FindDirectChildrenOnly);
    if (!list)
        list = new frmShortcuts(owner);
    list->show();
    list->raise();
    list->activateWindow();
    return list;
}

void frmShortcuts::AddHelpKey(QWidget* window)
{
    auto* key = new QShortcut(QKeySequence(Qt::Key_F1), window);
    QObject::connect(key, &QShortcut::activated, window, [window] { ShowFor(window); });
}
