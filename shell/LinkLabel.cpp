#include "shell/LinkLabel.h"

#include "shell/Common.h"
#include "shell/Contrast.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleOption>

namespace {

const QString DefaultCaption = QStringLiteral("LinkLabel");

} // namespace

// A plain QWidget would reach assistive technology as a nameless panel.
class LinkLabelAccessible : public QAccessibleWidget
{
public:
    explicit LinkLabelAccessible(LinkLabel* link)
        : QAccessibleWidget(link, QAccessible::Link)
    {
    }

    QString text(QAccessible::Text kind) const override
    {
        const auto* link = static_cast<const LinkLabel*>(widget());
        if (kind == QAccessible::Name && link->accessibleName().isEmpty())
            return link->Caption();
        if (kind == QAccessible::Value)
            return TrimBlanks(link->HRef());
        return QAccessibleWidget::text(kind);
    }

    QStringList actionNames() const override
    {
        return QStringList(pressAction()) + QAccessibleWidget::actionNames();
    }

    void doAction(const QString& action) override
    {
        if (action != pressAction()) {
            QAccessibleWidget::doAction(action);
            return;
        }
        // Queued, as a button's animated click is: the action's caller (a
        // screen reader over D-Bus) is answered before any modal window the
        // link opens runs its own loop.
        auto* link = static_cast<LinkLabel*>(widget());
        if (link->isEnabled())
            QMetaObject::invokeMethod(link, &LinkLabel::Activate, Qt::QueuedConnection);
    }

    static QAccessibleInterface* Create(const QString& className, QObject* object)
    {
        if (className == QLatin1String("LinkLabel") && object && object->isWidgetType())
            return new LinkLabelAccessible(static_cast<LinkLabel*>(object));
        return nullptr;
    }
};

LinkLabel::LinkLabel(QWidget* parent)
    : QWidget(parent)
    , m_label(new QLabel(DefaultCaption, this))
    , m_foreColor(QColor::fromRgba(DefaultForeColor))
{
    static const bool accessible = [] {
        QAccessible::installFactory(&LinkLabelAccessible::Create);
        return true;
    }();
    Q_UNUSED(accessible);
    m_label->setObjectName(QStringLiteral("lblLink"));
    // Captions are shown as typed; a "<" must not switch the label to rich text.
    m_label->setTextFormat(Qt::PlainText);
    m_label->setContentsMargins(0, 0, 0, 0);
    // The control takes every click itself, wherever on the text it lands.
    m_label->setAttribute(Qt::WA_TransparentForMouseEvents);

    QFont font = m_label->font();
    font.setUnderline(true);
    m_label->setFont(font);
    ApplyForeColor();

    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);

    // A control placed without a caption shows its own name, so a form being
    // laid out shows which link is which.
    connect(this, &QObject::objectNameChanged, this, [this](const QString& name) {
        if (!m_hasCaption) {
            m_label->setText(name.isEmpty() ? DefaultCaption : name);
            Fit();
        }
    });
    Fit();
}

QString LinkLabel::HRef() const
{
    return m_href;
}

void LinkLabel::SetHRef(const QString& address)
{
    m_href = address;
    setToolTip(TrimBlanks(address));
}

QColor LinkLabel::ForeColor() const
{
    return m_foreColor.isValid() ? m_foreColor : m_label->palette().color(QPalette::Active, QPalette::WindowText);
}

void LinkLabel::SetForeColor(const QColor& color)
{
    m_foreColor = color;
    ApplyForeColor();
}

bool LinkLabel::Enabled() const
{
    return isEnabled();
}

void LinkLabel::SetEnabled(bool enabled)
{
    setEnabled(enabled);
}

QFont LinkLabel::Font() const
{
    return m_label->font();
}

void LinkLabel::SetFont(const QFont& font)
{
    m_label->setFont(font);
    Fit();
}

void LinkLabel::Refresh()
{
    m_label->update();
    update();
}

QString LinkLabel::Caption() const
{
    return m_label->text();
}

void LinkLabel::SetCaption(const QString& caption)
{
    m_hasCaption = true;
    m_label->setText(caption);
    Fit();
    if (accessibleName().isEmpty()) {
        QAccessibleEvent event(this, QAccessible::NameChanged);
        QAccessible::updateAccessibility(&event);
    }
}

QColor LinkLabel::BackColor() const
{
    return m_backColor.isValid() ? m_backColor : palette().color(QPalette::Window);
}

void LinkLabel::SetBackColor(const QColor& color)
{
    m_backColor = color;
    ApplyBackColor();
}

void LinkLabel::ReadProperties(const QVariantMap& store)
{
    SetHRef(store.value(QStringLiteral("HRef"), QString()).toString());
    SetForeColor(store.value(QStringLiteral("ForeColor"), QColor::fromRgba(DefaultForeColor)).value<QColor>());
    SetEnabled(store.value(QStringLiteral("Enabled"), true).toBool());
    // An empty font resolves nothing of its own: the label takes the
    // container's font, as a control without a stored font does.
    SetFont(store.value(QStringLiteral("Font"), QFont()).value<QFont>());
    SetCaption(store.value(QStringLiteral("Caption"), DefaultCaption).toString());
    SetBackColor(store.value(QStringLiteral("BackColor"), QColor()).value<QColor>());
}

void LinkLabel::WriteProperties(QVariantMap& store) const
{
    store.insert(QStringLiteral("HRef"), m_href);
    store.insert(QStringLiteral("ForeColor"), m_foreColor);
    store.insert(QStringLiteral("Enabled"), Enabled());
    store.insert(QStringLiteral("Font"), Font());
    store.insert(QStringLiteral("Caption"), Caption());
    store.insert(QStringLiteral("BackColor"), m_backColor);
}

QSize LinkLabel::sizeHint() const
{
    return m_label->sizeHint();
}

QSize LinkLabel::minimumSizeHint() const
{
    return sizeHint();
}

void LinkLabel::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::EnabledChange) {
        if (isEnabled())
            setCursor(Qt::PointingHandCursor);
        else
            unsetCursor();
        m_pressed = false;
    } else if (event->type() == QEvent::FontChange) {
        // A font from the container reaches the label first and this
        // control after, so the label's size is already the new one here.
        Fit();
    }
    QWidget::changeEvent(event);
}

void LinkLabel::showEvent(QShowEvent* event)
{
    Fit();
    // The container's theme may have changed since the colours were set.
    ApplyBackColor();
    QWidget::showEvent(event);
}

void LinkLabel::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    m_pressed = true;
    event->accept();
}

void LinkLabel::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    // Like a button, a press that is dragged off the text before release is
    // a change of mind, not a click.
    const bool isClick = m_pressed && rect().contains(event->position().toPoint());
    m_pressed = false;
    event->accept();
    if (isClick)
        Activate();
}

void LinkLabel::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
        event->accept();
        // A held key must not open one browser window per repeat.
        if (!event->isAutoRepeat())
            Activate();
        return;
    default:
        QWidget::keyPressEvent(event);
    }
}

void LinkLabel::paintEvent(QPaintEvent* event)
{
    Q_UNUSED(event);
    QStyleOption option;
    option.initFrom(this);
    // The ring shows only after the focus was moved by keyboard, as on
    // buttons; the label draws its text over it without a background.
    if (!(option.state & QStyle::State_HasFocus) || !(option.state & QStyle::State_KeyboardFocusChange))
        return;
    QPainter painter(this);
    painter.setPen(QPen(ForeColor(), 1, Qt::DotLine));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void LinkLabel::Fit()
{
    m_label->ensurePolished();
    const QSize size = m_label->sizeHint();
    m_label->setGeometry(QRect(QPoint(0, 0), size));
    resize(size);
    updateGeometry();
}

void LinkLabel::Activate()
{
    const QString address = TrimBlanks(m_href);
    if (!address.isEmpty())
        LaunchBrowser(address);
    // Last, so a receiver may close the window that holds the link.
    emit clicked();
}

void LinkLabel::ApplyForeColor()
{
    // Only the active and inactive colours: a disabled link keeps the
    // style's greyed text so it does not look clickable.
    QPalette palette = m_label->palette();
    if (m_foreColor.isValid()) {
        palette.setColor(QPalette::Active, QPalette::WindowText, m_foreColor);
        palette.setColor(QPalette::Inactive, QPalette::WindowText, m_foreColor);
        m_label->setPalette(palette);
    } else {
        m_label->setPalette(QPalette());
    }
    ApplyBackColor();
}

void LinkLabel::ApplyBackColor()
{
    // Without a colour of its own the control lets its container show
    // through: the container's background is the system colour.
    if (m_backColor.isValid()) {
        QPalette palette;
        palette.setColor(QPalette::Window, m_backColor);
        setPalette(palette);
        setAutoFillBackground(true);
        return;
    }
    // The container's colour shows through, unless the link's own colour
    // would not read on it (the classic blue on a dark theme): then the
    // nearest colour that reads is painted behind the text.
    const QColor ground = (parentWidget() ? parentWidget() : this)->palette().color(QPalette::Window);
    const QColor plate = m_foreColor.isValid() ? Contrast::ReadableBackground({ m_foreColor }, ground) : ground;
    QPalette palette;
    if (plate != ground)
        palette.setColor(QPalette::Window, plate);
    setPalette(palette);
    setAutoFillBackground(plate != ground);
}
