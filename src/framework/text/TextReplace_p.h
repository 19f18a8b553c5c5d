#pragma once

#include <QString>
#include <QStringView>

// The repeated replacement under NSStringXtra::replace and the entity decoding: each pass is built by
// appending, which stays linear where QString::replace moves the tail of a page once per batch of
// matches, and the common shapes finish in one pass.
namespace TextReplace {

// Every occurrence of `target` replaced, repeated while a pass found one (one pass only when the
// replacement brings the target back).
QString replaceRepeatedly(QString text, QStringView target, QStringView replacement);

} // namespace TextReplace
