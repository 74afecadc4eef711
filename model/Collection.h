#pragma once

#include "model/Error.h"
#include "model/File.h"
#include "model/ISerializable.h"

#include <QList>

#include <memory>

// An ordered, 1-based collection of records that owns them together with
// whoever else holds them (an object may stand in it more than once). Its
// record is a 32-bit count followed by each item's record.
template <typename T>
class Collection : public ISerializable
{
public:
    using Pointer = std::shared_ptr<T>;
    // Positions are 16-bit counters: no collection holds more than this.
    static constexpr qsizetype MaxCount = 32767;

    // Appends and returns the item. Raises error 6 past MaxCount items.
    Pointer Add(Pointer item)
    {
        if (m_items.size() >= MaxCount)
            Error::Raise(ErrorNumber::Overflow, QString(), QStringLiteral("Overflow"));
        m_items.append(item);
        return item;
    }
    Pointer Add() { return Add(std::make_shared<T>()); }

    // Removes the item at 1-based `index`; error 9 when there is none.
    void Remove(qsizetype index)
    {
        CheckIndex(index);
        m_items.removeAt(index - 1);
    }
    // Removes every position that holds this very object.
    void RemoveObject(const T* item)
    {
        for (qsizetype i = m_items.size(); i >= 1; --i) {
            if (m_items[i - 1].get() == item)
                m_items.removeAt(i - 1);
        }
    }
    void Clear() { m_items.clear(); }
    // Sets each item's Number to its 1-based position.
    void ResetNumbers()
    {
        for (qsizetype i = 1; i <= m_items.size(); ++i)
            m_items[i - 1]->SetNumber(static_cast<qint16>(i));
    }
    // 1-based; error 9 "Subscript out of range" when there is no such item.
    T& Item(qsizetype index) const
    {
        CheckIndex(index);
        return *m_items[index - 1];
    }
    qsizetype Count() const { return m_items.size(); }

    // for-each over the items in order (dereference gives T&).
    class Iterator
    {
    public:
        explicit Iterator(typename QList<Pointer>::const_iterator it) : m_it(it) { }
        T& operator*() const { return **m_it; }
        Iterator& operator++()
        {
            ++m_it;
            return *this;
        }
        bool operator!=(const Iterator& other) const { return m_it != other.m_it; }

    private:
        typename QList<Pointer>::const_iterator m_it;
    };
    Iterator begin() const { return Iterator(m_items.cbegin()); }
    Iterator end() const { return Iterator(m_items.cend()); }

    bool Serialize(File& file) const override
    {
        file.WriteData(static_cast<qint32>(m_items.size()));
        for (const Pointer& item : m_items)
            item->Serialize(file);
        return true;
    }

    // Appends `count` new items read from the file, without clearing first.
    // A count that the rest of the file cannot hold, at T::MinRecordSize bytes
    // an item, is a damaged file: it raises rather than reading on.
    bool Deserialize(File& file) override
    {
        qint32 count = 0;
        file.ReadData(count);
        if (count > 0 && qint64(count) * T::MinRecordSize > file.Remaining()) {
            Error::Raise(ErrorNumber::DamagedFile, QString(),
                QStringLiteral("The file is damaged: it claims %1 records where at most %2 fit")
                    .arg(count)
                    .arg(file.Remaining() / T::MinRecordSize));
        }
        if (count > 0)
            m_items.reserve(m_items.size() + count);
        for (qint32 i = 0; i < count; ++i) {
            Pointer item = std::make_shared<T>();
            item->Deserialize(file);
            Add(item);
        }
        return true;
    }

private:
    void CheckIndex(qsizetype index) const
    {
        if (index < 1 || index > m_items.size())
            Error::Raise(ErrorNumber::SubscriptOutOfRange, QString(), QStringLiteral("Subscript out of range"));
    }

    QList<Pointer> m_items;
};
