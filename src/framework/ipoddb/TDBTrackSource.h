#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QString>

// The music database a parse read and the volume it belongs to. Every track of the parse shares it
// and decodes its strings from it when they are asked for.
struct TIVARO_EXPORT TDBTrackSource {
    QByteArray bytes;
    QString mountPath;
};
