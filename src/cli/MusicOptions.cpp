#include "MusicOptions.h"

#include "ArgumentParser.h"
#include "IPodOpener.h"

MusicOptions::MusicOptions(ArgumentParser &options)
    : m_options(options)
    , m_ipodName(QStringLiteral("ipod"))
    , m_jsonName(QStringLiteral("json"))
{
    options.addOption(
        QCommandLineOption(m_ipodName, QStringLiteral("Mount path of the iPod."), QStringLiteral("PATH")));
    options.addOption(QCommandLineOption(m_jsonName, QStringLiteral("Print JSON.")));
}

TVRiPodPtr MusicOptions::parseAndOpen(const QStringList &arguments, Console &console, int *exit) const
{
    std::optional<int> stop = m_options.parse(arguments, console);
    if (!stop)
        stop = m_options.require({m_ipodName}, console);
    if (stop) {
        *exit = *stop;
        return nullptr;
    }
    TVRiPodPtr iPod = IPodOpener::open(m_options.parser().value(m_ipodName), console);
    if (!iPod)
        *exit = ExitCode::Failure;
    return iPod;
}

bool MusicOptions::json() const
{
    return m_options.parser().isSet(m_jsonName);
}

int MusicOptions::failNoDatabase(const TVRiPod &iPod, Console &console)
{
    return console.fail(
        QStringLiteral("%1 has no readable music database (iPod_Control/iTunes/iTunesDB)").arg(iPod.path()),
        ExitCode::Failure);
}
