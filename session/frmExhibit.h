#pragma once

#include "session/ExhibitGeometry.h"

#include <QDialog>

class QLabel;
class QPushButton;
class QScrollBar;
class QWheelEvent;

// The exhibit window: one item's picture at its natural size, scrolled
// vertically when it is taller than the screen allows. The exam window owns
// it, shows it modeless after a successful SetExhibit and closes it when
// another item is shown; the window can be reused for the next exhibit.
class frmExhibit : public QDialog
{
    Q_OBJECT

public:
    explicit frmExhibit(QWidget* owner = nullptr);

    // Loads the picture `fileName` from the folder of the current exam's file
    // and lays the window out for it. A missing or unreadable file raises its
    // system error, an empty, damaged or over-large one error 481 "Invalid
    // picture", both from "frmExhibit::SetExhibit()"; the path is remembered
    // either way, the window is otherwise left as it was.
    void SetExhibit(const QString& fileName);
    // SetExhibit, then the window shown modeless and raised; when the picture
    // cannot be loaded, the message that the exam pack needs reinstalling
    // instead, the window left as it was.
    void Open(const QString& fileName);
    // The full path given to the last SetExhibit.
    QString Exhibit() const { return m_exhibit; }

    // Pictures with more pixels than this are refused rather than decoded:
    // 32 megapixels take 128 MB at four bytes a pixel.
    static constexpr qint64 MaxPicturePixels = 32LL * 1024 * 1024;

protected:
    void wheelEvent(QWheelEvent* event) override;

private:
    void vsbScroll_Change(int value);
    void ApplyLayout(const ExhibitLayout& layout, QSize pictureSize);

    QString m_exhibit;
    QWidget* m_picClipper = nullptr;
    QLabel* m_picExhibit = nullptr;
    QScrollBar* m_vsbScroll = nullptr;
    QPushButton* m_cmdClose = nullptr;
};
