#pragma once

#include "model/Choices.h"
#include "model/CompactText.h"

#include <QString>

class File;

// One exam item. Record: Number, SolutionCount (16-bit each), HasHint
// (4-byte boolean), Exhibit (plain text), Problem and Explaination
// (enciphered texts), then the Choices record. Answer and IsMarked belong to
// the running session and are never written.
//
// Items are kept by value, 24 bytes each besides one block for all four
// texts (none while they are empty) and the options' array, so an item costs
// about what its record does. Text getters decode and return a new QString.
class Question
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
    QString Problem() const { return m_texts.Get(ProblemText); }
    void SetProblem(const QString& problem) { m_texts.Set(ProblemText, problem); }
    // The explanation with blanks trimmed at both ends; the stored text (and
    // the one written back) keeps them.
    QString Explaination() const;
    QString StoredExplaination() const { return m_texts.Get(ExplainationText); }
    void SetExplaination(const QString& explaination) { m_texts.Set(ExplainationText, explaination); }
    QString Exhibit() const { return m_texts.Get(ExhibitText); }
    void SetExhibit(const QString& exhibit) { m_texts.Set(ExhibitText, exhibit); }
    bool HasExhibit() const { return !m_texts.IsEmpty(ExhibitText); }

    // The candidate's answer: option numbers in collection order joined by
    // ",", empty for none.
    QString Answer() const { return m_texts.Get(AnswerText); }
    void SetAnswer(const QString& answer) { m_texts.Set(AnswerText, answer); }
    bool IsMarked() const { return m_isMarked; }
    void SetIsMarked(bool isMarked) { m_isMarked = isMarked; }

    ::Choices& Choices() { return m_choices; }
    const ::Choices& Choices() const { return m_choices; }

    // Solutions counted now (not the stored SolutionCount).
    qint16 AnswerCount() const;
    // The key in answer form, e.g. "1,3"; empty when no option is a solution.
    QString CorrectAnswer() const;

    bool Serialize(File& file) const;
    bool Deserialize(File& file);

private:
    enum { ExhibitText, ProblemText, ExplainationText, AnswerText };

    PackedTexts<4> m_texts;
    // The numbers and flags below share the options' tail padding.
    [[no_unique_address]] ::Choices m_choices;
    qint16 m_number = 0;
    qint16 m_solutionCount = 0;
    bool m_hasHint = false;
    bool m_isMarked = false;
};
static_assert(sizeof(Question) <= 24);
