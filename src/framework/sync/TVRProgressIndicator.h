#pragma once

#include "tivaro_export.h"

// What a sync shows while it runs is implemented by whoever shows it: the terminal now, a window
// later. The sync driver works with none of it set.
//
// The progress bar: indeterminate while plug-ins count their work, then from minimum to maximum.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT TVRProgressIndicator
{
public:
    virtual ~TVRProgressIndicator() = default;
    virtual void setIndeterminate(bool indeterminate) = 0;
    virtual void startAnimation() = 0;
    virtual void stopAnimation() = 0;
    virtual void setMinValue(double value) = 0;
    virtual void setMaxValue(double value) = 0;
    virtual void setDoubleValue(double value) = 0;
    virtual void incrementBy(double delta) = 0;
};
