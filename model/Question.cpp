#include "model/Question.h"

#include "model/Ansi.h"
#include "model/Common.h"
#include "model/CryptoAPI.h"
#include "model/File.h"

void Question::CalculateSolutionCount()
{
    m_solutionCount = AnswerCount();
}

QString Question::Explaination() const
{
    return TrimBlanks(StoredExplaination());
}

qint16 Question::AnswerCount() const
{
    qint16 count = 0;
    for (const Choice& choice : m_choices) {
        if (choice.IsSolution())
            ++count;
    }
    return count;
}

QString Question::CorrectAnswer() const
{
    QString answer;
    for (const Choice& choice : m_choices) {
        if (!choice.IsSolution())
            continue;
        if (!answer.isEmpty())
            answer += QLatin1Char(',');
        answer += QString::number(choice.Number());
    }
    return answer;
}

bool Question::Serialize(File& file) const
{
    file.WriteData(m_number);
    file.WriteData(m_solutionCount);
    file.WriteData(m_hasHint);
    file.WriteData(Exhibit(), -1);
    CryptoAPI::WriteSecureBytes(file, m_texts.ToAnsi(ProblemText));
    CryptoAPI::WriteSecureBytes(file, m_texts.ToAnsi(ExplainationText));
    m_choices.Serialize(file);
    return true;
}

bool Question::Deserialize(File& file)
{
    file.ReadData(m_number);
    file.ReadData(m_solutionCount);
    file.ReadData(m_hasHint);
    // The three texts are read first and stored in one block. Scratch blocks
    // serve every item: the program reads on one thread.
    static QByteArray exhibit;
    static QByteArray problem;
    static QByteArray explaination;
    bool hasExhibit = false;
    if (file.Mode() == File::BinaryMode) {
        // A plain text with its count: a count of 0 or less keeps the value.
        qint32 count = 0;
        file.ReadData(count);
        hasExhibit = count > 0;
        if (hasExhibit)
            file.ReadData(exhibit, count);
    } else {
        QString text = Exhibit();
        file.ReadData(text, -1);
        exhibit = Ansi::FromUnicode(text);
        hasExhibit = true;
    }
    const bool hasProblem = CryptoAPI::ReadSecureBytes(file, problem);
    const bool hasExplaination = CryptoAPI::ReadSecureBytes(file, explaination);
    m_texts.SetAnsi({ hasExhibit ? &exhibit : nullptr, hasProblem ? &problem : nullptr,
        hasExplaination ? &explaination : nullptr, nullptr });
    for (QByteArray* scratch : { &exhibit, &problem, &explaination })
        CryptoAPI::TrimScratch(*scratch);
    m_choices.Deserialize(file);
    return true;
}
