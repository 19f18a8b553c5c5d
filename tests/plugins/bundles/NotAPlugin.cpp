// A library whose principal class is an object but no plug-in.
#include "core/ExportedClass.h"

class NotAPlugin : public QObject
{
    Q_OBJECT
};

TIVARO_EXPORT_CLASS(NotAPlugin)

#include "NotAPlugin.moc"
