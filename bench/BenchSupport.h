#pragma once

#include <QString>

#include <chrono>
#include <vector>

class QTemporaryDir;

// What every benchmark needs around its measurements: failing loudly, turning durations into figures
// and saying where the files live.
namespace BenchSupport {

// Prints "<program>: <message>" on stderr and exits with 1.
[[noreturn]] void die(const QString &message);

double milliseconds(std::chrono::steady_clock::duration d);

// The median of the values; 0 when there are none.
double median(std::vector<double> values);

// The kind of file system `path` is on ("tmpfs", "ext2/3/4", ...), for the heading of a table.
QString fileSystemOf(const QString &path);

// Points HOME and the XDG config, data and cache folders into `home` (dies when it is not valid), so
// that nothing the benchmark runs reads or writes the user's own. Call it before QCoreApplication
// exists, so that nothing has asked where those folders are yet; child processes inherit them.
void useTemporaryHome(const QTemporaryDir &home);

} // namespace BenchSupport
