#pragma once

#include "ipod/TVRiPod.h"

#include <QString>

#include <optional>

class ArgumentParser;
class Console;

// The options both music commands share: --ipod PATH and --json.
class MusicOptions
{
public:
    explicit MusicOptions(ArgumentParser &options);
    // The exit status of a usage error when --ipod is missing, else nullopt.
    std::optional<int> requireiPod(const ArgumentParser &options, Console &console) const;
    // The iPod named by --ipod, or null after printing why there is none.
    TVRiPodPtr openiPod(ArgumentParser &options, Console &console) const;
    bool json(ArgumentParser &options) const;
    // Prints why an iPod without a readable music database lists nothing; returns the exit status.
    static int failNoDatabase(const TVRiPod &iPod, Console &console);

private:
    QString m_ipodName;
    QString m_jsonName;
};
