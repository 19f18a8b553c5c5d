#include "ContactsWriteCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"
#include "IPodOpener.h"

#include "ipod/TVRContactsManager.h"

int ContactsWriteCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this,
                           QStringLiteral("Writes the UTF-8 text of FILE (or standard input) as one contact card, "
                                          "in the file Contacts/TVR-NAME.vcf, for iPods that show no notes."));
    const QCommandLineOption ipod(QStringLiteral("ipod"), QStringLiteral("Mount path of the iPod."),
                                  QStringLiteral("PATH"));
    const QCommandLineOption name(QStringLiteral("name"), QStringLiteral("Name of the contacts file."),
                                  QStringLiteral("NAME"));
    const QCommandLineOption title(QStringLiteral("title"), QStringLiteral("Title of the card."),
                                   QStringLiteral("TITLE"));
    for (const QCommandLineOption &option : {ipod, name, title})
        options.addOption(option);
    options.addPositional(QStringLiteral("FILE"), QStringLiteral("Text of the card; \"-\" or none for standard input."),
                          QStringLiteral("[FILE|-]"));
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    if (const std::optional<int> exit =
            options.require({QStringLiteral("ipod"), QStringLiteral("name"), QStringLiteral("title")}, console))
        return *exit;
    const QCommandLineParser &parser = options.parser();
    if (parser.positionalArguments().size() > 1)
        return console.fail(QStringLiteral("contacts write takes at most one FILE"), ExitCode::Usage);

    if (options.parser().value(name).contains(QLatin1Char('/')))
        return console.fail(QStringLiteral("--name names a file in the Contacts folder and cannot hold \"/\""),
                            ExitCode::Usage);
    QString text;
    const TVRiPodPtr iPod =
        IPodOpener::openWithText(parser.value(ipod), parser.positionalArguments().value(0), console, &text);
    if (!iPod)
        return ExitCode::Failure;

    const std::shared_ptr<TVRContactsManager> contacts = iPod->contactsManagerNamed(parser.value(name));
    contacts->appendContactWithText(text, parser.value(title));
    iPod->setOutputOwner(IPodOpener::commandLineOwner());
    if (!contacts->writeContactsFileToiPod())
        return console.fail(contacts->errorString(), ExitCode::Failure);
    QString recordError;
    if (!iPod->saveOwnFilesRecord(&recordError))
        return console.fail(
            QStringLiteral("the record of Tivaro's files on the iPod was not saved: %1").arg(recordError),
            ExitCode::Failure);
    console.print(QStringLiteral("Wrote %1").arg(contacts->contactsPath()));
    return ExitCode::Success;
}
