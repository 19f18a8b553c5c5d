#include "NoteWriteCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"
#include "IPodOpener.h"

#include "core/PathUtils.h"

int NoteWriteCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this,
                           QStringLiteral("Writes the UTF-8 text of FILE (or standard input) as a note, cut into "
                                          "linked pages the iPod can show."));
    const QCommandLineOption ipod(QStringLiteral("ipod"), QStringLiteral("Mount path of the iPod."),
                                  QStringLiteral("PATH"));
    const QCommandLineOption name(QStringLiteral("name"), QStringLiteral("Name of the note."), QStringLiteral("NAME"));
    const QCommandLineOption localPath(QStringLiteral("local-path"), QStringLiteral("Folder below the notes folder."),
                                       QStringLiteral("DIR"));
    const QCommandLineOption encoding(QStringLiteral("encoding"),
                                      QStringLiteral("utf8 (pages of 4096 bytes, the default) or utf16 (2048)."),
                                      QStringLiteral("ENCODING"), QStringLiteral("utf8"));
    for (const QCommandLineOption &option : {ipod, name, localPath, encoding})
        options.addOption(option);
    options.addPositional(QStringLiteral("FILE"), QStringLiteral("Text to write; \"-\" or none for standard input."),
                          QStringLiteral("[FILE|-]"));
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    if (const std::optional<int> exit = options.require({QStringLiteral("ipod"), QStringLiteral("name")}, console))
        return *exit;
    const QCommandLineParser &parser = options.parser();
    const QString encodingName = parser.value(encoding);
    if (encodingName != QLatin1String("utf8") && encodingName != QLatin1String("utf16"))
        return console.fail(QStringLiteral("--encoding is utf8 or utf16, not \"%1\"").arg(encodingName),
                            ExitCode::Usage);
    if (parser.positionalArguments().size() > 1)
        return console.fail(QStringLiteral("note write takes at most one FILE"), ExitCode::Usage);

    QString text;
    const TVRiPodPtr iPod =
        IPodOpener::openWithText(parser.value(ipod), parser.positionalArguments().value(0), console, &text);
    if (!iPod)
        return ExitCode::Failure;

    const unsigned chosen = encodingName == QLatin1String("utf16") ? StringEncoding::Unicode : StringEncoding::UTF8;
    iPod->setOutputOwner(IPodOpener::commandLineOwner());
    const bool written = iPod->writeNoteToiPod(text, parser.value(name), parser.value(localPath), chosen);
    // Whatever was written is recorded, even the first pages of a note that failed later.
    QString recordError;
    if (!iPod->saveOwnFilesRecord(&recordError))
        console.warn(QStringLiteral("the record of Tivaro's files on the iPod was not saved: %1").arg(recordError));
    if (!written)
        return console.fail(iPod->errorString(), ExitCode::Failure);
    const QString folder = PathUtils::appendingPathComponent(iPod->realTivaroFolder(), parser.value(localPath));
    if (iPod->lastNoteDroppedBytes() > 0)
        console.warn(QStringLiteral("the note stops before a word longer than a page; the last %1 bytes were left out")
                         .arg(iPod->lastNoteDroppedBytes()));
    console.print(QStringLiteral("Wrote the note \"%1\" in %2 page(s) to %3")
                      .arg(parser.value(name))
                      .arg(iPod->lastNotePageCount())
                      .arg(folder));
    return ExitCode::Success;
}
