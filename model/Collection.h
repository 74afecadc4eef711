#pragma once

#include "model/Error.h"
#include "model/File.h"

#include <QString>

#include <cstdlib>
#include <malloc.h>
#include <memory>
#include <new>
#include <utility>

// An ordered, 1-based collection of records kept by value in one array of
// exactly the size a load needs. The collection itself is a pointer and a
// 16-bit count (the array's room is what the allocator says it holds), so a
// record that holds one, as an item holds its options, stays small.
// Its record is a 32-bit count followed by each item's record.
//
// Records are values: Add copies or moves one in, and an object stands in one
// collection at one position. A reference or pointer to an item stays valid
// until the next Add, Remove, Clear or Squeeze on this collection.
template <typename T>
class Collection
{
public:
    // Positions are 16-bit counters: no collection holds more than this.
    static constexpr qsizetype MaxCount = 32767;

    Collection() = default;
    Collection(const Collection& other) { CopyFrom(other); }
    Collection(Collection&& other) noexcept
        : m_items(std::exchange(other.m_items, nullptr))
        , m_count(std::exchange(other.m_count, 0))
    {
    }
    Collection& operator=(const Collection& other)
    {
        if (this != &other) {
            Clear();
            CopyFrom(other);
        }
        return *this;
    }
    Collection& operator=(Collection&& other) noexcept
    {
        std::swap(m_items, other.m_items);
        std::swap(m_count, other.m_count);
        return *this;
    }
    ~Collection() { Clear(); }

    // Appends a new item and returns it (valid until the collection next
    // changes). Raises error 6 past MaxCount items.
    T* Add() { return Add(T()); }
    T* Add(T item)
    {
        if (m_count >= MaxCount)
            Error::Raise(ErrorNumber::Overflow, QString(), QStringLiteral("Overflow"));
        if (m_count == Capacity())
            Reserve(m_count == 0 ? 4 : qMin<qsizetype>(MaxCount, qsizetype(m_count) * 2));
        T* added = new (m_items + m_count) T(std::move(item));
        ++m_count;
        return added;
    }

    // Removes the item at 1-based `index`; error 9 when there is none.
    void Remove(qsizetype index)
    {
        CheckIndex(index);
        std::move(m_items + index, m_items + m_count, m_items + index - 1);
        --m_count;
        m_items[m_count].~T();
    }
    // Removes the position that holds this very object, if any.
    void RemoveObject(const T* item)
    {
        if (item >= m_items && item < m_items + m_count)
            Remove(item - m_items + 1);
    }
    // Keeps only the items `keep` accepts, in order, in one pass.
    template <typename Predicate>
    void RemoveUnless(Predicate keep)
    {
        quint16 kept = 0;
        for (quint16 i = 0; i < m_count; ++i) {
            if (keep(std::as_const(m_items[i]))) {
                if (kept != i)
                    m_items[kept] = std::move(m_items[i]);
                ++kept;
            }
        }
        for (quint16 i = kept; i < m_count; ++i)
            m_items[i].~T();
        m_count = kept;
    }
    void Clear()
    {
        std::destroy_n(m_items, m_count);
        std::free(m_items);
        m_items = nullptr;
        m_count = 0;
    }
    // Room for `count` items in all, allocated once.
    void Reserve(qsizetype count)
    {
        if (count <= Capacity())
            return;
        Reallocate(count);
    }
    // Gives back the room no item uses.
    void Squeeze()
    {
        if (Capacity() > m_count)
            Reallocate(m_count);
    }
    // Sets each item's Number to its 1-based position.
    void ResetNumbers()
    {
        for (quint16 i = 0; i < m_count; ++i)
            m_items[i].SetNumber(static_cast<qint16>(i + 1));
    }
    // 1-based; error 9 "Subscript out of range" when there is no such item.
    T& Item(qsizetype index) const
    {
        CheckIndex(index);
        return m_items[index - 1];
    }
    qsizetype Count() const { return m_count; }

    // for-each over the items in order.
    T* begin() const { return m_items; }
    T* end() const { return m_items + m_count; }

    bool Serialize(File& file) const
    {
        file.WriteData(static_cast<qint32>(m_count));
        for (const T& item : *this)
            item.Serialize(file);
        return true;
    }

    // Appends `count` items read from the file, without clearing first. A
    // count that the rest of the file cannot hold, at T::MinRecordSize bytes
    // an item, is a damaged file: it raises rather than reading on. Room is
    // taken once, for no more items than MaxCount allows.
    bool Deserialize(File& file)
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
            Reserve(qMin<qsizetype>(MaxCount, qsizetype(m_count) + count));
        for (qint32 i = 0; i < count; ++i) {
            if (m_count >= MaxCount) {
                // As an Add after the read: the record is read, then refused.
                T extra;
                extra.Deserialize(file);
                Add(std::move(extra));
            }
            T* item = new (m_items + m_count) T();
            try {
                item->Deserialize(file);
            } catch (...) {
                item->~T();
                throw;
            }
            ++m_count;
        }
        return true;
    }

private:
    qsizetype Capacity() const { return m_items ? qsizetype(malloc_usable_size(m_items) / sizeof(T)) : 0; }
    void CheckIndex(qsizetype index) const
    {
        if (index < 1 || index > m_count)
            Error::Raise(ErrorNumber::SubscriptOutOfRange, QString(), QStringLiteral("Subscript out of range"));
    }
    void Reallocate(qsizetype capacity)
    {
        T* items = nullptr;
        if (capacity > 0) {
            items = static_cast<T*>(std::malloc(size_t(capacity) * sizeof(T)));
            if (!items)
                throw std::bad_alloc();
            std::uninitialized_move_n(m_items, m_count, items);
        }
        std::destroy_n(m_items, m_count);
        std::free(m_items);
        m_items = items;
    }
    void CopyFrom(const Collection& other)
    {
        Reserve(other.m_count);
        std::uninitialized_copy_n(other.m_items, other.m_count, m_items);
        m_count = other.m_count;
    }

    T* m_items = nullptr;
    quint16 m_count = 0;
};
