#include "model/Question.h"

#include "model/Common.h"
#include "model/CryptoAPI.h"
#include "model/File.h"

void Question::CalculateSolutionCount()
{
    m_solutionCount = AnswerCount();
}

QString Question::Explaination() const
{
    return TrimBlanks(m_explaination);
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
    file.WriteData(m_exhibit, -1);
    CryptoAPI::WriteSecureData(file, m_problem);
    CryptoAPI::WriteSecureData(file, m_explaination);
    m_choices.Serialize(file);
    return true;
}

bool Question::Deserialize(File& file)
{
    file.ReadData(m_number);
    file.ReadData(m_solutionCount);
    file.ReadData(m_hasHint);
    file.ReadData(m_exhibit, -1);
    CryptoAPI::ReadSecureData(file, m_problem);
    CryptoAPI::ReadSecureData(file, m_explaination);
    m_choices.Deserialize(file);
    return true;
}
