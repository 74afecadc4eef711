#pragma once

#include <QString>
#include <QVariantList>

// The window-free half of the shared toolbox: message templates, system error
// texts and the raising of system errors, running a command and waiting for
// it, and small numeric and text helpers. The widget half (message boxes,
// browser, list columns, work area) lives in shell/Common.h.

// Expands "{1}", "{2}", ... with values[0], values[1], ... in ascending order,
// each pass working on the previous result, then "{CRLF}" (any case) into a
// carriage return and line feed. Placeholders without a value stay as they are.
QString FormatText(const QString& messageTemplate, const QVariantList& values = {});

// The expansion shared by FormatText and ShowMessage: the two differ only in
// whether "{CRLF}" is matched regardless of case.
QString ExpandTemplate(const QString& messageTemplate, const QVariantList& values, bool crlfIgnoresCase);

// A value as a template shows it: numbers without grouping and with the
// locale's decimal separator, booleans as True/False, anything else as text.
QString ValueText(const QVariant& value);

// The system's text for an errno value; "Unknown error" when it has none.
QString SystemErrorText(qint32 code);

// When `result` is false, raises the calling thread's errno as an error with
// the description "System Error: 0x<HEX>" + line break + SystemErrorText.
void CheckApiResult(bool result);
[[noreturn]] void RaiseSystemError(qint32 code);

// Runs a command line (split as a shell would, no shell involved), waits for
// it without limit and returns its exit code. A command that cannot be started
// raises error 5 from "SyncShell()". A process killed by a signal returns -1.
qint32 SyncShell(const QString& commandLine);

// Splits a command line into words as a POSIX shell does for quotes and
// backslashes ('...', "...", \x); no expansions, no redirections.
QStringList SplitCommandLine(const QString& commandLine);

// hh:mm:ss, at least two digits per part; hours above 99 get more digits.
QString FormatDuration(qint32 seconds);

float Percentage(float part, float whole);
float PercentOf(float value, float percent);

// Blanks are spaces only, as in every trim of this program.
QString TrimBlanks(const QString& text);
bool IsBlank(const QString& text);

// Cuts `text` at its first NUL and returns the result.
QString TrimNull(QString& text);
QString NullBuffer(qint32 length);

// value * 2^bits as a 32-bit integer, rounded half to even; raises error 6
// (Overflow) outside the 32-bit range.
qint32 ShiftLeft(qint16 value, qint16 bits);

// Rounds half to even and raises error 6 (Overflow) when the result does not
// fit in 16 or 32 bits: the conversions every score and size goes through.
qint16 RoundToInt16(double value, const QString& source);
qint32 RoundToInt32(double value, const QString& source);
