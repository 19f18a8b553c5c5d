#pragma once

#include "tivaro_export.h"

#include <QByteArrayView>
#include <QImage>

// The iPod's thumbnails are 16-bit RGB565 pixels; these turn them into 8-bit RGBA.
namespace TDBRGB565 {

// One pixel word as found in memory to RRGGBBAA: the top bits of each channel are set, the low
// ones stay zero, alpha is 255 (0xF800 → 0xF80000FF). With `swapped` the word counts as
// little-endian and is brought to host order.
TIVARO_AUTOTEST_EXPORT quint32 rgb565ToRgba(quint16 pixel, bool swapped);

// `width`·`height` pixels from `pixels` as an RGBA image; a null image when the size is not
// positive or the buffer holds fewer than 2·width·height bytes.
TIVARO_AUTOTEST_EXPORT QImage convertRGB565ToImage(QByteArrayView pixels, int width, int height, bool swapped);

} // namespace TDBRGB565
