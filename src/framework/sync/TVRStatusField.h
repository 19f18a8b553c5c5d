#pragma once

#include "tivaro_export.h"

#include <QString>

// What a sync shows while it runs is implemented by whoever shows it: the terminal now, a window
// later. The sync driver works with none of it set.
//
// One status line: the plug-in being synced above, the plug-in's own feedback below.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT TVRStatusField
{
public:
    virtual ~TVRStatusField() = default;
    virtual void setStringValue(const QString &text) = 0;
};
