#include "history/HistorySettings.h"

#include "model/SittingResult.h"
#include "shell/Registry.h"

namespace {

// Read-only access, so a store the user may not change still counts.
bool ReadFlag(const char* valueName, bool fallback)
{
    Registry::Key key;
    if (Registry::OpenKey(Registry::HKEY_CURRENT_USER, QString::fromLatin1(HistorySettings::Key), Registry::KEY_READ,
            key)
        != 0)
        return fallback;
    qint32 type = Registry::REG_NONE;
    QByteArray data;
    const qint32 result = Registry::QueryValue(key, QString::fromLatin1(valueName), type, data, 4);
    Registry::CloseKey(key);
    if (result != 0 || type != Registry::REG_DWORD || data.size() != 4)
        return fallback;
    return data != QByteArray(4, '\0');
}

} // namespace

bool HistorySettings::IsRecordingOn()
{
    return ReadFlag("Record Attempts", true);
}

bool HistorySettings::IsStudyRecorded()
{
    return ReadFlag("Record Study", false);
}

bool HistorySettings::ShouldRecord(const SittingResult& result)
{
    return IsRecordingOn() && (!result.isStudy || IsStudyRecorded());
}
