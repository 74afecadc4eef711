// MESSAGE::UnPack on arbitrary text (each byte one Windows-1252-range
// character, as replies arrive). Property: a message that unpacks and packs
// unpacks again to the same command and parameters, in the same order.
#include "FuzzUtil.h"

#include "download/Message.h"
#include "model/Error.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = QString::fromLatin1(reinterpret_cast<const char*>(data), qsizetype(size));
    MESSAGE message;
    try {
        message.UnPack(text);
    } catch (const Error&) {
        return 0;
    }
    try {
        message.Pack();
    } catch (const Error& e) {
        if (e.Number() == MESSAGE::NoCommand && message.Command().isEmpty())
            return 0;
        FuzzUtil::Broken("an unpacked message packs");
    }
    MESSAGE again;
    try {
        again.UnPack(message.Text());
    } catch (const Error&) {
        FuzzUtil::Broken("a packed message unpacks");
    }
    if (again.Command() != message.Command() || again.Parameters().Count() != message.Parameters().Count())
        FuzzUtil::Broken("round trip keeps the command and the parameter count");
    auto other = again.Parameters().begin();
    for (const Parameter& parameter : message.Parameters()) {
        if ((*other).Name() != parameter.Name() || (*other).value() != parameter.value())
            FuzzUtil::Broken("round trip keeps every parameter");
        ++other;
    }
    return 0;
}
