#pragma once

#include "model/Error.h"

#include <QHash>
#include <QList>
#include <QString>

#include <memory>

// One named value of a service message.
class Parameter
{
public:
    const QString& Name() const { return m_name; }
    void SetName(const QString& name) { m_name = name; }
    const QString& value() const { return m_value; }
    void SetValue(const QString& value) { m_value = value; }

private:
    QString m_name;
    QString m_value;
};

// The parameters of a message in the order they were added, keyed by name
// regardless of letter case (SID and sid are one entry).
class Parameters
{
public:
    // Adds the parameter, or replaces the value of the entry whose key matches
    // in place: the entry keeps its position and takes the spelling of the
    // latest name.
    Parameter& Add(const QString& name, const QString& value);
    // Error 5 for an unknown name.
    void Remove(const QString& name);
    // 1-based; error 9 outside 1 ... Count.
    void RemoveAt(qint32 index);
    // The 1-based position of the first entry whose name matches regardless of
    // case, or Count + 1 when none does: callers treat anything above Count as
    // absent.
    qint32 GetIndex(const QString& name) const;
    void Clear();
    qint32 Count() const { return static_cast<qint32>(m_items.size()); }
    // By name, not by position; error 5 for an unknown name.
    Parameter& Item(const QString& name) const;

private:
    // The key is the case-folded name given when the entry was created; it
    // stays when a caller renames the parameter through Item.
    struct Entry
    {
        QString Key;
        std::shared_ptr<Parameter> Item;
    };

public:
    class Iterator
    {
    public:
        explicit Iterator(QList<Entry>::const_iterator it) : m_it(it) { }
        Parameter& operator*() const { return *m_it->Item; }
        Iterator& operator++()
        {
            ++m_it;
            return *this;
        }
        bool operator!=(const Iterator& other) const { return m_it != other.m_it; }

    private:
        QList<Entry>::const_iterator m_it;
    };
    // Enumeration in insertion order.
    Iterator begin() const { return Iterator(m_items.cbegin()); }
    Iterator end() const { return Iterator(m_items.cend()); }

private:
    static QString Key(const QString& name) { return name.toCaseFolded(); }

    QList<Entry> m_items;
    // Key -> entry, so a reply with many parameters is still decoded in
    // linear time.
    QHash<QString, std::shared_ptr<Parameter>> m_keys;
};

// One message of the download service. Its text form is
//   COMMAND;                              without parameters
//   COMMAND?name=value&name=value;        with parameters
// where each value has "%", "?", "=", "&" and ";" escaped as %25, %3F, %3D,
// %26 and %3B (upper-case hexadecimal only). Names are written as they are.
class MESSAGE
{
public:
    // Error numbers of the codec.
    static constexpr qint32 InvalidMessage = ErrorNumber::AppBase + 1;   // "Invalid message"
    static constexpr qint32 DecodingError = ErrorNumber::AppBase + 2;    // "Error decoding parameters"
    static constexpr qint32 NoCommand = ErrorNumber::AppBase + 3;        // "No command specified for the message"

    const QString& Command() const { return m_command; }
    void SetCommand(const QString& command) { m_command = command; }
    // The last text produced by Pack or handed to UnPack.
    const QString& Text() const { return m_text; }

    // Builds Text from Command and the parameters. Raises NoCommand under
    // "Message::Pack()" when Command is empty.
    void Pack();
    // Rebuilds the message from `text`; anything after the first ";" is
    // ignored. Raises under "Message::UnPack()": InvalidMessage without a ";",
    // DecodingError for a parameter piece without "=" (the pieces before it
    // stay), error 5 when a ";" comes before the "?". Every proper prefix of a
    // packed message lacks its ";", so a cut text is always InvalidMessage.
    void UnPack(const QString& text);

    ::Parameters& Parameters() { return m_parameters; }
    const ::Parameters& Parameters() const { return m_parameters; }

private:
    static QString Escape(const QString& value);
    static QString Unescape(const QString& value);

    QString m_command;
    QString m_text;
    ::Parameters m_parameters;
};
