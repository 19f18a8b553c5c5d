#include "IPodInfoCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"
#include "IPodDescription.h"
#include "IPodOpener.h"

int IPodInfoCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Describes the iPod mounted at PATH."));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Print JSON."));
    options.addOption(json);
    options.addPositional(QStringLiteral("PATH"), QStringLiteral("Mount path of the iPod."), QStringLiteral("PATH"));
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    const QStringList positional = options.parser().positionalArguments();
    if (positional.size() != 1)
        return console.fail(QStringLiteral("ipod info needs exactly one PATH"), ExitCode::Usage);

    const TVRiPodPtr iPod = IPodOpener::open(positional.constFirst(), console);
    if (!iPod)
        return ExitCode::Failure;
    if (options.parser().isSet(json))
        console.printJson(IPodDescription::toJson(*iPod));
    else
        console.print(IPodDescription::toText(*iPod).join(QLatin1Char('\n')));
    return ExitCode::Success;
}
