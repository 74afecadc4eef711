// The exam compiler's JSON reader on arbitrary text. Property: whatever
// compiles, compiled again from its dump, gives the same exam file (its
// booleans are canonical, having been written by the program).
#include "FuzzUtil.h"

#include "model/Error.h"
#include "model/Exam.h"
#include "tools/practorium-exam/ExamJson.h"

using FuzzUtil::MemFile;

namespace {

QByteArray Compile(const QByteArray& json, const MemFile& output)
{
    Exam exam;
    ExamJson::FromJson(json, exam, QStringLiteral("fuzz.json"));
    exam.Save(output.Path());
    return output.Bytes();
}

QByteArray Dump(const MemFile& file)
{
    Exam exam;
    exam.Load(file.Path());
    return ExamJson::ToJson(exam);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray json(reinterpret_cast<const char*>(data), qsizetype(size));
    const MemFile first;
    QByteArray compiled;
    try {
        compiled = Compile(json, first);
    } catch (const Error&) {
        return 0;
    }
    const MemFile second;
    try {
        if (Compile(Dump(first), second) != compiled)
            FuzzUtil::Broken("compile(dump(x)) == x");
    } catch (const Error& e) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(e.Source()), qPrintable(e.Description()));
        FuzzUtil::Broken("the dump of a compiled exam compiles");
    }
    return 0;
}
