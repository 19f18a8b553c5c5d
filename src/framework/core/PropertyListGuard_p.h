#pragma once

#include <QByteArray>
#include <QString>

// Checks property-list bytes before libplist sees them. libplist aborts the process on some inputs
// (a string holding NUL, over-wide lengths) and recurses without limit on deep nesting; a list that
// would do either is refused here with the reason.
namespace PropertyListGuard {

// Containers may nest this deep; real preferences and bundle files stay below ten.
constexpr int kMaximumDepth = 512;
// Nodes a binary list may expand to when objects are shared; beyond it memory runs out.
constexpr quint64 kMaximumNodes = 5'000'000;

// Empty when the bytes are safe to hand to libplist (they may still be no property list).
QString problemWith(const QByteArray &bytes);

} // namespace PropertyListGuard
