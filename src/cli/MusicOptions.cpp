#include "MusicOptions.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"
#include "IPodOpener.h"

MusicOptions::MusicOptions(ArgumentParser &options)
    : m_ipodName(QStringLiteral("ipod"))
    , m_jsonName(QStringLiteral("json"))
{
    options.addOption(
        QCommandLineOption(m_ipodName, QStringLiteral("Mount path of the iPod."), QStringLiteral("PATH")));
    options.addOption(QCommandLineOption(m_jsonName, QStringLiteral("Print JSON.")));
}

std::optional<int> MusicOptions::requireiPod(const ArgumentParser &options, Console &console) const
{
    return options.require({m_ipodName}, console);
}

TVRiPodPtr MusicOptions::openiPod(ArgumentParser &options, Console &console) const
{
    return IPodOpener::open(options.parser().value(m_ipodName), console);
}

bool MusicOptions::json(ArgumentParser &options) const
{
    return options.parser().isSet(m_jsonName);
}

int MusicOptions::failNoDatabase(const TVRiPod &iPod, Console &console)
{
    return console.fail(
        QStringLiteral("%1 has no readable music database (iPod_Control/iTunes/iTunesDB)").arg(iPod.path()),
        ExitCode::Failure);
}
