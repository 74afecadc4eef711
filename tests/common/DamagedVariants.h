#pragma once

#include <QByteArray>
#include <QList>
#include <QRandomGenerator>
#include <QString>
#include <QtEndian>

#include <algorithm>

// Damaged copies of a valid exam file, for tests that must survive any input: every truncation point, every count field
// set to hostile values, random byte flips and random files. Deterministic (fixed seed).
namespace DamagedVariants {

struct Variant
{
    QString Name;
    QByteArray Bytes;
};

// Offsets of every 32-bit count of a valid exam file (texts, blocks and the two collection counts), found by walking
// its records.
inline QList<qsizetype> CountOffsets(const QByteArray& file)
{
    QList<qsizetype> offsets;
    qsizetype at = 0;
    auto count = [&]() -> qint32 {
        if (at + 4 > file.size())
            return -1;
        offsets.append(at);
        at += 4;
        return qFromLittleEndian<qint32>(file.constData() + at - 4);
    };
    auto block = [&]() { at += qMax(count(), 0); };
    block(); // reserved
    block(); // code
    block(); // name
    at += 6; // maximum, passing score, duration
    const qint32 questions = count();
    for (qint32 q = 0; q < questions && at < file.size(); ++q) {
        at += 2 + 2 + 4; // number, solution count, hint
        block(); // exhibit
        block(); // problem
        block(); // explanation
        const qint32 choices = count();
        for (qint32 c = 0; c < choices && at < file.size(); ++c) {
            at += 2 + 4; // number, solution flag
            block(); // statement
        }
    }
    return offsets;
}

inline QList<Variant> Make(const QByteArray& valid, int randomCount = 200)
{
    QList<Variant> variants;
    for (qsizetype cut = 0; cut < valid.size(); ++cut)
        variants.append({ QStringLiteral("cut at %1").arg(cut), valid.left(cut) });

    const qint32 hostile[] = { 0x7FFFFFFF, qint32(0x80000000), -1, 0x10000, qint32(valid.size()) + 1 };
    for (qsizetype offset : CountOffsets(valid)) {
        for (qint32 value : hostile) {
            QByteArray bytes = valid;
            qToLittleEndian<qint32>(value, bytes.data() + offset);
            variants.append({ QStringLiteral("count at %1 = %2").arg(offset).arg(value), bytes });
        }
    }

    QRandomGenerator random(20261121);
    for (int i = 0; i < randomCount; ++i) {
        QByteArray flipped = valid;
        const int flips = 1 + int(random.bounded(8));
        for (int f = 0; f < flips; ++f)
            flipped[random.bounded(int(flipped.size()))] = char(random.bounded(256));
        variants.append({ QStringLiteral("flipped %1").arg(i), flipped });

        QByteArray noise(qsizetype(random.bounded(512)), Qt::Uninitialized);
        std::ranges::generate(noise, [&] { return char(random.bounded(256)); });
        variants.append({ QStringLiteral("random %1").arg(i), noise });
    }
    return variants;
}

} // namespace DamagedVariants
