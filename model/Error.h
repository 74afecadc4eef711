#pragma once

#include <QString>

#include <exception>

// Error numbers the program raises besides system (errno) codes. The numbers
// below 0x80040000 are the classic run-time error numbers that exam files and
// callers already branch on; the program's own numbers start at AppFirst.
namespace ErrorNumber {
constexpr qint32 InvalidCall = 5;        // "Invalid procedure call or argument"
constexpr qint32 Overflow = 6;           // "Overflow"
constexpr qint32 OutOfMemory = 7;        // "Out of memory"
constexpr qint32 SubscriptOutOfRange = 9;
constexpr qint32 DivisionByZero = 11;
constexpr qint32 TypeMismatch = 13;
constexpr qint32 Internal = 51;          // "Internal error"
constexpr qint32 InvalidPicture = 481;   // "Invalid picture": empty, damaged or too large to show
constexpr qint32 AppBase = static_cast<qint32>(0x80040000u);
constexpr qint32 AppFirst = AppBase + 1;
// A count or length in an exam file that the file cannot hold.
constexpr qint32 DamagedFile = AppBase + 1;
} // namespace ErrorNumber

// The one error type of the program: a 32-bit number, the source that raised
// it ("Class::Operation()" or "Module:Operation()") and a description. Each
// operation that can fail catches whatever reached it, releases what it opened
// and raises the error again under its own source name (see Rethrow).
class Error : public std::exception
{
public:
    Error(qint32 number, QString source, QString description);

    qint32 Number() const { return m_number; }
    const QString& Source() const { return m_source; }
    const QString& Description() const { return m_description; }

    // "source: description", for logs and the command-line tools.
    const char* what() const noexcept override;

    [[noreturn]] static void Raise(qint32 number, const QString& source, const QString& description);

    // The exception being handled, as an Error: errors pass unchanged, memory
    // exhaustion becomes error 7 and anything else an internal error. Only call
    // from inside a catch block.
    static Error Current();

    // Raises the exception being handled again with the same number and
    // description under `source`. Only call from inside a catch block.
    [[noreturn]] static void Rethrow(const QString& source);

private:
    qint32 m_number;
    QString m_source;
    QString m_description;
    QByteArray m_what;
};
