#pragma once

#include "exchange/Bank.h"

#include <QCryptographicHash>
#include <QStringList>

// A bank as text, one line per fact, for comparing with the expected outline of a sample (tests/data/banks/*.outline):
//   <line>: <item text, line breaks as "\n">
//    +|- <option>  [# <feedback>]
//    ## <general feedback>
//    picture <size> bytes, MD5 <first 8 hex digits>, <n> more
//   note <line>: <note>
inline QString BankOutline(const exchange::Bank& bank)
{
    const auto flat = [](QString text) { return text.replace(u'\n', QStringLiteral("\\n")); };
    QStringList lines;
    for (const exchange::BankItem& item : bank.items) {
        lines.append(QStringLiteral("%1: %2").arg(item.location).arg(flat(item.text)));
        for (const exchange::BankOption& option : item.options)
            lines.append(QStringLiteral(" %1 %2").arg(option.isSolution ? QStringLiteral("+") : QStringLiteral("-")).arg(flat(option.text))
                + (option.feedback.isEmpty() ? QString() : QStringLiteral("  # ") + flat(option.feedback)));
        if (!item.generalFeedback.isEmpty())
            lines.append(QStringLiteral(" ## ") + flat(item.generalFeedback));
        if (!item.picture.isEmpty() || item.extraPictures > 0)
            lines.append(QStringLiteral(" picture %1 bytes, MD5 %2, %3 more").arg(item.picture.size())
                    .arg(QString::fromLatin1(QCryptographicHash::hash(item.picture, QCryptographicHash::Md5).toHex().left(8)))
                    .arg(item.extraPictures));
    }
    for (const exchange::BankNote& note : bank.notes)
        lines.append(QStringLiteral("note %1: %2").arg(note.location).arg(note.text));
    lines.append(QStringLiteral("skipped %1").arg(bank.skipped));
    return lines.join(u'\n') + u'\n';
}
