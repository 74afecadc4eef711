// The question-bank readers on arbitrary bytes. The first byte picks the
// reader (Aiken, GIFT, Moodle XML, QTI item or package, CSV); the rest is the
// source. Properties: whatever a reader accepts builds an exam or fails with
// a reason, and a built exam saves and loads back with the same items; an
// exam that came from GIFT, written as GIFT and read again, gives the same
// number of items and options.
#include "FuzzUtil.h"

#include "exchange/BankFormat.h"
#include "exchange/ExamBuilder.h"
#include "exchange/GiftWriter.h"
#include "model/Error.h"
#include "model/Exam.h"
#include "model/Question.h"

#include <QGuiApplication>

using FuzzUtil::MemFile;
using namespace exchange;

namespace {

constexpr BankFormat Formats[] = { BankFormat::Aiken, BankFormat::Gift, BankFormat::MoodleXml, BankFormat::Qti,
    BankFormat::Csv };

// Items and options of an exam, as counts: what a round trip must keep.
QList<int> Shape(const Exam& exam)
{
    QList<int> shape;
    for (const Question& question : exam.Questions())
        shape.append(int(question.Choices().Count()));
    return shape;
}

bool Build(const QByteArray& bytes, BankFormat format, Exam& exam)
{
    Bank bank;
    ReadFailure failure;
    if (!ReadBank(format, bytes, bank, failure)) {
        if (failure.description.isEmpty())
            FuzzUtil::Broken("a refused source has a reason");
        return false;
    }
    QVector<Picture> pictures;
    QVector<BankNote> notes;
    ImportOptions options;
    options.code = QStringLiteral("FUZZ");
    options.name = QStringLiteral("Fuzz");
    if (!BuildExam(bank, options, exam, pictures, notes, failure)) {
        if (failure.description.isEmpty())
            FuzzUtil::Broken("a bank that builds no exam has a reason");
        return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    // The readers turn HTML into text with Qt Gui's document classes.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication app(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const BankFormat format = Formats[data[0] % std::size(Formats)];
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1));
    Exam built;
    if (!Build(bytes, format, built))
        return 0;

    const MemFile file;
    Exam loaded;
    try {
        built.Save(file.Path());
        loaded.Load(file.Path());
    } catch (const Error& e) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(e.Source()), qPrintable(e.Description()));
        FuzzUtil::Broken("a built exam saves and loads");
    }
    if (Shape(loaded) != Shape(built))
        FuzzUtil::Broken("a built exam loads back with the same items");

    if (format == BankFormat::Gift) {
        Exam again;
        if (!Build(WriteGift(built), BankFormat::Gift, again) || Shape(again) != Shape(built))
            FuzzUtil::Broken("GIFT written from an imported exam reads back with the same items");
    }
    return 0;
}
