#pragma once

#include "model/Choices.h"
#include "model/ISerializable.h"

#include <QString>

// One exam item. Record: Number, SolutionCount (16-bit each), HasHint
// (4-byte boolean), Exhibit (plain text), Problem and Explaination
// (enciphered texts), then the Choices record. Answer and IsMarked belong to
// the running session and are never written.
class Question : public ISerializable
{
public:
    // Fewest bytes a record takes: two numbers, a boolean, three empty texts'
    // counts and the choice count.
    static constexpr qint64 MinRecordSize = 2 + 2 + 4 + 4 + 4 + 4 + 4;

    qint16 Number() const { return m_number; }
    void SetNumber(qint16 number) { m_number = number; }
    // As stored in the file; CalculateSolutionCount refreshes it.
    qint16 SolutionCount() const { return m_solutionCount; }
    // For tools that write files: the stored count, whatever the choices say.
    void SetStoredSolutionCount(qint16 count) { m_solutionCount = count; }
    void CalculateSolutionCount();
    bool HasHint() const { return m_hasHint; }
    void SetHasHint(bool hasHint) { m_hasHint = hasHint; }
    const QString& Problem() const { return m_problem; }
    void SetProblem(const QString& problem) { m_problem = problem; }
    // The explanation with blanks trimmed at both ends; the stored text (and
    // the one written back) keeps them.
    QString Explaination() const;
    const QString& StoredExplaination() const { return m_explaination; }
    void SetExplaination(const QString& explaination) { m_explaination = explaination; }
    const QString& Exhibit() const { return m_exhibit; }
    void SetExhibit(const QString& exhibit) { m_exhibit = exhibit; }
    bool HasExhibit() const { return !m_exhibit.isEmpty(); }

    // The candidate's answer: option numbers in collection order joined by
    // ",", empty for none.
    const QString& Answer() const { return m_answer; }
    void SetAnswer(const QString& answer) { m_answer = answer; }
    bool IsMarked() const { return m_isMarked; }
    void SetIsMarked(bool isMarked) { m_isMarked = isMarked; }

    ::Choices& Choices() { return m_choices; }
    const ::Choices& Choices() const { return m_choices; }

    // Solutions counted now (not the stored SolutionCount).
    qint16 AnswerCount() const;
    // The key in answer form, e.g. "1,3"; empty when no option is a solution.
    QString CorrectAnswer() const;

    bool Serialize(File& file) const override;
    bool Deserialize(File& file) override;

private:
    qint16 m_number = 0;
    qint16 m_solutionCount = 0;
    bool m_hasHint = false;
    QString m_problem;
    QString m_explaination;
    QString m_exhibit;
    QString m_answer;
    bool m_isMarked = false;
    ::Choices m_choices;
};
