#pragma once

#include "Console.h"
#include "ExitCode.h"
#include "MusicDescription.h"

#include "ipod/TVRiPod.h"

#include <QJsonArray>
#include <QString>
#include <QStringList>

class ArgumentParser;

// What both music commands do: take --ipod PATH and --json, open the iPod, and print the records
// its music database holds, as one JSON array or one line each.
class MusicOptions
{
public:
    // Adds --ipod and --json to `options`, which must outlive this.
    explicit MusicOptions(ArgumentParser &options);

    // Parses `arguments` and prints what `load` (TVRiPod& → optional list of track or playlist
    // pointers) reads; answers the exit status.
    template<typename Load> int list(const QStringList &arguments, Console &console, Load load) const;

private:
    // The iPod named by --ipod, or null after printing why there is none, with the exit status in `exit`.
    TVRiPodPtr parseAndOpen(const QStringList &arguments, Console &console, int *exit) const;
    bool json() const;
    // Prints why an iPod without a readable music database lists nothing; returns the exit status.
    static int failNoDatabase(const TVRiPod &iPod, Console &console);

    ArgumentParser &m_options;
    QString m_ipodName;
    QString m_jsonName;
};

template<typename Load> int MusicOptions::list(const QStringList &arguments, Console &console, Load load) const
{
    int exit = ExitCode::Success;
    const TVRiPodPtr iPod = parseAndOpen(arguments, console, &exit);
    if (!iPod)
        return exit;
    const auto records = load(*iPod);
    if (!records)
        return failNoDatabase(*iPod, console);
    if (json()) {
        QJsonArray array;
        for (const auto &record : *records)
            array.append(MusicDescription::toJson(*record));
        console.printJson(array);
    } else {
        for (const auto &record : *records)
            console.print(MusicDescription::toText(*record));
    }
    return ExitCode::Success;
}
