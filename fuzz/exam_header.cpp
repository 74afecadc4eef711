// Exam::LoadHeader on arbitrary bytes. Property: when the whole file loads,
// the header alone reads the same fields.
#include "FuzzUtil.h"

#include "model/Error.h"
#include "model/Exam.h"

using FuzzUtil::MemFile;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const MemFile input(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    Exam header;
    try {
        header.LoadHeader(input.Path());
    } catch (const Error&) {
        return 0;
    }
    Exam whole;
    try {
        whole.Load(input.Path());
    } catch (const Error&) {
        return 0;
    }
    if (!header.IsHeaderComplete() || header.Code() != whole.Code() || header.Name() != whole.Name()
        || header.MaxScore() != whole.MaxScore() || header.PassScore() != whole.PassScore()
        || header.Duration() != whole.Duration())
        FuzzUtil::Broken("LoadHeader reads what Load reads");
    return 0;
}
