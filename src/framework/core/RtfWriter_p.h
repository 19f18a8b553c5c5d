#pragma once

#include "tivaro_export.h"

#include "AttributedString.h"

#include <QByteArray>

// Attributed text as RTF that word processors, TextEdit and unrtf read. Every run becomes a group of
// its own that sets only what the run has, so a run without a font, size or colour reads back
// without one. What RTF cannot say is rounded: sizes to half points, colours to 8-bit RGB without
// alpha. The font manager's weight has no RTF word; it is kept in the ignorable destination
// {\*\tivaroweight N}, which other readers skip and RtfReader gives back exactly.
//
// Pure functions of their arguments; callable from any thread.
namespace RtfWriter {

// The largest \fs the writer emits and the reader accepts, in half points.
constexpr int kMaximumHalfPoints = 32767;
// The control word of the weight destination.
inline constexpr char kWeightDestination[] = "tivaroweight";

TIVARO_AUTOTEST_EXPORT QByteArray toRtf(const AttributedString &text);

} // namespace RtfWriter
