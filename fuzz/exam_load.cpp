// Exam::Load on arbitrary bytes. Property: an exam that loads saves to bytes
// that load again and save to the same bytes.
#include "FuzzUtil.h"

#include "model/Error.h"
#include "model/Exam.h"

using FuzzUtil::MemFile;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const MemFile input(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    Exam exam;
    try {
        exam.Load(input.Path());
    } catch (const Error&) {
        return 0;
    }
    const MemFile first;
    exam.Save(first.Path());
    Exam again;
    again.Load(first.Path());
    const MemFile second;
    again.Save(second.Path());
    if (first.Bytes() != second.Bytes())
        FuzzUtil::Broken("Save(Load(Save(exam))) == Save(exam)");
    return 0;
}
