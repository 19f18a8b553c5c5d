#include "ContactsRemoveCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"
#include "IPodOpener.h"

#include "ipod/TVRContactsManager.h"

#include <QFileInfo>

int ContactsRemoveCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Removes the file Contacts/TVR-NAME.vcf from an iPod."));
    const QCommandLineOption ipod(QStringLiteral("ipod"), QStringLiteral("Mount path of the iPod."),
                                  QStringLiteral("PATH"));
    const QCommandLineOption name(QStringLiteral("name"), QStringLiteral("Name of the contacts file."),
                                  QStringLiteral("NAME"));
    options.addOption(ipod);
    options.addOption(name);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    if (const std::optional<int> exit = options.require({QStringLiteral("ipod"), QStringLiteral("name")}, console))
        return *exit;

    if (options.parser().value(name).contains(QLatin1Char('/')))
        return console.fail(QStringLiteral("--name names a file in the Contacts folder and cannot hold \"/\""),
                            ExitCode::Usage);
    const TVRiPodPtr iPod = IPodOpener::open(options.parser().value(ipod), console);
    if (!iPod)
        return ExitCode::Failure;
    const std::shared_ptr<TVRContactsManager> contacts = iPod->contactsManagerNamed(options.parser().value(name));
    if (!QFileInfo::exists(contacts->contactsPath())) {
        console.print(QStringLiteral("Nothing to remove: %1 does not exist").arg(contacts->contactsPath()));
        return ExitCode::Success;
    }
    const RemovalReport report = contacts->removeContactsFileFromiPod();
    QString recordError;
    if (!iPod->saveOwnFilesRecord(&recordError))
        console.warn(QStringLiteral("the record of Tivaro's files on the iPod was not saved: %1").arg(recordError));
    if (!report.kept.isEmpty())
        return console.fail(
            QStringLiteral("%1 was kept: %2").arg(contacts->contactsPath(), report.kept.constFirst().second),
            ExitCode::Failure);
    if (QFileInfo::exists(contacts->contactsPath()))
        return console.fail(QStringLiteral("cannot remove %1").arg(contacts->contactsPath()), ExitCode::Failure);
    console.print(QStringLiteral("Removed %1").arg(contacts->contactsPath()));
    return ExitCode::Success;
}
