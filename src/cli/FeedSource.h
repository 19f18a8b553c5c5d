#pragma once

#include "feeds/RSS.h"

#include <QString>

#include <memory>

class Console;

// Where `tivaro feed` reads a feed from: a file (a path or a file: URL) or an http, https or feed URL.
namespace FeedSource {

// The feed at `source`, as parsed (not normalised), or null after printing why it cannot be read or
// is no feed.
std::unique_ptr<RSS> read(const QString &source, Console &console);

} // namespace FeedSource
