#include "shell/Resources.h"

#include <QIcon>
#include <QImageReader>
#include <QPixmap>

#include <QtGlobal>

// Q_INIT_RESOURCE declares the registration function, which must live in
// the global namespace, so it cannot be called from inside a namespace.
static bool RegisterResources()
{
    Q_INIT_RESOURCE(practorium);
    return true;
}

void InitResources()
{
    static const bool registered = RegisterResources();
    Q_UNUSED(registered);
}

QPixmap LoadPicture(const QString& resource)
{
    InitResources();
    QImageReader reader(resource, "png");
    reader.setAutoDetectImageFormat(false);
    const QImage image = reader.read();
    return image.isNull() ? QPixmap(resource) : QPixmap::fromImage(image);
}

QIcon LoadIcon(const QString& resource)
{
    QIcon icon;
    icon.addPixmap(LoadPicture(resource));
    icon.addPixmap(LoadPicture(resource + QStringLiteral("@2x")));
    return icon;
}
