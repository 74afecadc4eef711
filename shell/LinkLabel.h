#pragma once

#include <QColor>
#include <QFont>
#include <QString>
#include <QVariantMap>
#include <QWidget>

class QLabel;

// A text that looks and acts like a web link: underlined, blue, a pointing
// hand, and a click (or Enter/Space when it has the focus) opens HRef in the
// browser. The control is always exactly as large as its text.
//
// Colours: an invalid QColor stands for "the system colour", which follows
// the palette (ForeColor: window text; BackColor: the window background, on
// which the control sits). The getters return the colour in effect.
//
// The properties carry the names the forms use, so a promoted widget in a
// .ui file can set them, and ReadProperties/WriteProperties keep them in a
// property store under the same names.
class LinkLabel : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(QString HRef READ HRef WRITE SetHRef)
    Q_PROPERTY(QColor ForeColor READ ForeColor WRITE SetForeColor)
    Q_PROPERTY(bool Enabled READ Enabled WRITE SetEnabled)
    Q_PROPERTY(QFont Font READ Font WRITE SetFont)
    Q_PROPERTY(QString Caption READ Caption WRITE SetCaption)
    Q_PROPERTY(QColor BackColor READ BackColor WRITE SetBackColor)

public:
    // The colour of a link: 0xFF0000 in the 0x00BBGGRR order of the stores.
    static constexpr QRgb DefaultForeColor = 0xFF0000FF;

    explicit LinkLabel(QWidget* parent = nullptr);

    QString HRef() const;
    void SetHRef(const QString& address);
    QColor ForeColor() const;
    void SetForeColor(const QColor& color);
    bool Enabled() const;
    void SetEnabled(bool enabled);
    QFont Font() const;
    void SetFont(const QFont& font);
    // Redraws the text.
    void Refresh();
    QString Caption() const;
    void SetCaption(const QString& caption);
    QColor BackColor() const;
    void SetBackColor(const QColor& color);

    // Settings kept in a store: missing entries take their defaults (no
    // address, blue, enabled, the container's font, "LinkLabel", the system
    // colour). Writing puts every property under its name.
    void ReadProperties(const QVariantMap& store);
    void WriteProperties(QVariantMap& store) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    // Raised on every click or key activation, whether or not there is an
    // address, so windows can use a link for their own actions.
    void clicked();

protected:
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    // Screen readers see the control as a link named by its caption, whose
    // press action activates it.
    friend class LinkLabelAccessible;

    void Fit();
    void Activate();
    void ApplyForeColor();
    void ApplyBackColor();

    QLabel* m_label = nullptr;
    QString m_href;
    QColor m_foreColor;
    QColor m_backColor;
    // Until a caption is given, the control shows its own object name, as a
    // freshly placed control does.
    bool m_hasCaption = false;
    bool m_pressed = false;
};
