#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>
#include <utility>

// The server's own reading and writing of service messages. It shares no code
// with the client's codec on purpose: each side is written from the wire form
// alone, so a fault in one cannot pass by agreeing with the same fault in the
// other.
//
// Wire form, Windows-1252: COMMAND; or COMMAND?name=value&name=value;
// Values escape "%", "?", "=", "&" and ";" as %25, %3F, %3D, %26 and %3B
// (upper-case hex); names are sent as they are. Anything after the first ";"
// is not part of the message.
struct CourierMessage
{
    QString Command;
    QList<std::pair<QString, QString>> Parameters;

    // The value of the first parameter of that name, compared without regard
    // to letter case as the client does; empty when there is none.
    QString Value(const QString& name) const;

    QByteArray Encode() const;

    // The message in `body`, or nothing when the body holds no ";" or a
    // parameter without "=".
    static std::optional<CourierMessage> Decode(const QByteArray& body);
};
