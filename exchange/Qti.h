#pragma once

#include "exchange/Bank.h"

#include <QByteArray>

namespace exchange {

// IMS QTI 2.1 items: either one assessmentItem document, or a content
// package (zip) whose imsmanifest.xml lists item resources, read in manifest
// order.
//
// An item with one choiceInteraction becomes a bank item (single answer
// with maxChoices 1, else multiple); its itemBody and prompt are the text,
// the responseDeclaration's correctResponse values (else positive mapEntry
// values) are the solutions, modalFeedback is the general feedback and each
// simpleChoice's feedbackInline its own feedback. The first <img> of an item
// in a package is its picture. Items with other interactions are skipped
// with a note. Locations are lines for a single document, item positions in
// a package (failures there name the entry and its line).
//
// The zip is read by ZipArchive (with its limits), never unpacked to disk;
// each XML document by GuardedXml; more than MaxQtiItems items is refused.
constexpr int MaxQtiItems = 32767;

bool ReadQti(const QByteArray& bytes, Bank& out, ReadFailure& failure);

} // namespace exchange
