#include "CommandRegistry.h"
#include "Console.h"
#include "ExitCode.h"
#include "commands/ContactsRemoveCommand.h"
#include "commands/ContactsWriteCommand.h"
#include "commands/DefaultsCommand.h"
#include "commands/DemoCommand.h"
#include "commands/FaviconCommand.h"
#include "commands/FeedFormatCommand.h"
#include "commands/FeedParseCommand.h"
#include "commands/FetchCommand.h"
#include "commands/Html2TextCommand.h"
#include "commands/IPodInfoCommand.h"
#include "commands/IPodsCommand.h"
#include "commands/LogCommand.h"
#include "commands/MusicPlaylistsCommand.h"
#include "commands/MusicTracksCommand.h"
#include "commands/NewsImportCommand.h"
#include "commands/NoteWriteCommand.h"
#include "commands/OpmlCommand.h"
#include "commands/PhotosCommand.h"
#include "commands/PluginsCommand.h"
#include "commands/PrefsCommand.h"
#include "commands/SyncCommand.h"

#include "ipod/SysInfoError.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <exception>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tivaro"));
    QCoreApplication::setOrganizationName(QStringLiteral("Tivaro"));
    // Commands report failures in one line of their own; the framework's diagnostics stay quiet
    // unless asked for with QT_LOGGING_RULES="tivaro.*=true".
    QLoggingCategory::setFilterRules(QStringLiteral("tivaro.*=false"));

    CommandRegistry registry;
    registry.add(std::make_unique<IPodsCommand>());
    registry.add(std::make_unique<IPodInfoCommand>());
    registry.add(std::make_unique<NoteWriteCommand>());
    registry.add(std::make_unique<ContactsWriteCommand>());
    registry.add(std::make_unique<ContactsRemoveCommand>());
    registry.add(std::make_unique<LogCommand>());
    registry.add(std::make_unique<PluginsCommand>());
    registry.add(std::make_unique<SyncCommand>());
    registry.add(std::make_unique<PrefsCommand>());
    registry.add(std::make_unique<DefaultsCommand>());
    registry.add(std::make_unique<FetchCommand>());
    registry.add(std::make_unique<Html2TextCommand>());
    registry.add(std::make_unique<MusicTracksCommand>());
    registry.add(std::make_unique<MusicPlaylistsCommand>());
    registry.add(std::make_unique<OpmlCommand>());
    registry.add(std::make_unique<PhotosCommand>());
    registry.add(std::make_unique<NewsImportCommand>());
    registry.add(std::make_unique<DemoCommand>());
    registry.add(std::make_unique<FaviconCommand>());
    registry.add(std::make_unique<FeedParseCommand>());
    registry.add(std::make_unique<FeedFormatCommand>());

    Console console;
    // Nothing the user gives may end in an abort: every escaping error becomes one line.
    try {
        return registry.run(QCoreApplication::arguments().mid(1), console);
    } catch (const SysInfoError &error) {
        return console.fail(QStringLiteral("unreadable SysInfo: %1").arg(error.message()), ExitCode::Failure);
    } catch (const std::exception &error) {
        return console.fail(QString::fromLocal8Bit(error.what()), ExitCode::Failure);
    }
}
