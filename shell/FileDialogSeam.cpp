#include "shell/FileDialogSeam.h"

#include <QFileDialog>

#include <optional>

namespace {

std::optional<QString>& NextAnswer()
{
    static std::optional<QString> answer;
    return answer;
}

} // namespace

QString FileDialogSeam::OpenFileName(QWidget* parent, const QString& caption, const QString& filter)
{
    if (NextAnswer()) {
        const QString answer = *NextAnswer();
        NextAnswer().reset();
        return answer;
    }
    return QFileDialog::getOpenFileName(parent, caption, QString(), filter);
}

QString FileDialogSeam::SaveFileName(QWidget* parent, const QString& caption, const QString& suggested,
    const QString& filter)
{
    if (NextAnswer()) {
        const QString answer = *NextAnswer();
        NextAnswer().reset();
        return answer;
    }
    return QFileDialog::getSaveFileName(parent, caption, suggested, filter);
}

void FileDialogSeam::SetNextFileName(const QString& path)
{
    NextAnswer() = path;
}
