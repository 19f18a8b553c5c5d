#include "LogCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"

#include "sync/LogManager.h"
#include "sync/SyncLogFile.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

// The log's line break is "\r"; a terminal's and JSON readers' is "\n".
QString withNewlines(QStringView text)
{
    QString result = text.toString();
    result.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return result;
}

QString errorsPhrase(qint32 errors)
{
    if (errors == 0)
        return QStringLiteral("no errors");
    return errors == 1 ? QStringLiteral("1 error") : QStringLiteral("%1 errors").arg(errors);
}

// ANSI SGR parameters for a run: bold, and its colour. The log's own blue, red and orange get the
// terminal's colours; any other colour the nearest of the 256-colour cube.
QString ansiCodes(const TextAttributes &style)
{
    QStringList codes;
    if (style.bold)
        codes.append(QStringLiteral("1"));
    if (style.color && style.color->isValid()) {
        const QColor rgb = style.color->toRgb();
        if (rgb.red() == 0 && rgb.green() == 0 && rgb.blue() == 255) {
            codes.append(QStringLiteral("34"));
        } else if (rgb.red() == 255 && rgb.green() == 0 && rgb.blue() == 0) {
            codes.append(QStringLiteral("31"));
        } else if (rgb.red() == 255 && rgb.green() == 128 && rgb.blue() == 0) {
            codes.append(QStringLiteral("38;5;208"));
        } else {
            const auto level = [](int component) { return (component * 5 + 127) / 255; };
            codes.append(
                QStringLiteral("38;5;%1").arg(16 + 36 * level(rgb.red()) + 6 * level(rgb.green()) + level(rgb.blue())));
        }
    }
    return codes.join(QLatin1Char(';'));
}

// Each line styled on its own, so that no style is left on when a line ends.
QString styled(const QString &text, const QString &codes)
{
    if (codes.isEmpty())
        return text;
    QStringList lines = text.split(QLatin1Char('\n'));
    for (QString &line : lines) {
        if (!line.isEmpty())
            line = QStringLiteral("\x1b[") + codes + QLatin1Char('m') + line + QStringLiteral("\x1b[0m");
    }
    return lines.join(QLatin1Char('\n'));
}

// A header line, then the text without its last line break (the console ends the block).
QString textBlock(const LogManager &log, bool useAnsi)
{
    const QString header = QStringLiteral("Sync of %1 — %2")
                               .arg(log.startingDate().toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")),
                                    errorsPhrase(log.errorCount()));
    const AttributedString &text = log.logAttributedString();
    const qsizetype end = text.string().endsWith(QLatin1Char('\r')) ? text.length() - 1 : text.length();
    QString body;
    for (const AttributedString::Run &run : text.runs()) {
        const qsizetype length = std::min(run.length, end - run.start);
        if (length <= 0)
            break;
        const QString part = withNewlines(QStringView(text.string()).mid(run.start, length));
        body += useAnsi ? styled(part, ansiCodes(run.attributes)) : part;
    }
    return (useAnsi ? styled(header, QStringLiteral("1")) : header) + QLatin1Char('\n') + body;
}

QJsonValue orNull(bool present, const QJsonValue &value)
{
    return present ? value : QJsonValue(QJsonValue::Null);
}

QJsonObject toJson(const LogManager &log, qsizetype entry)
{
    QJsonArray runs;
    for (const AttributedString::Run &run : log.logAttributedString().runs()) {
        const TextAttributes &style = run.attributes;
        const bool hasColor = style.color && style.color->isValid();
        runs.append(QJsonObject{
            {QStringLiteral("start"), qint64(run.start)},
            {QStringLiteral("length"), qint64(run.length)},
            {QStringLiteral("font"), orNull(!style.fontName.isEmpty(), style.fontName)},
            {QStringLiteral("bold"), style.bold},
            {QStringLiteral("size"), orNull(style.pointSize > 0, style.pointSize)},
            {QStringLiteral("color"), orNull(hasColor, hasColor ? style.color->name(QColor::HexRgb) : QString())},
        });
    }
    return QJsonObject{
        {QStringLiteral("entry"), qint64(entry)},
        {QStringLiteral("date"), log.startingDate().toUTC().toString(Qt::ISODateWithMs)},
        {QStringLiteral("errorCount"), log.errorCount()},
        {QStringLiteral("text"), withNewlines(log.logAttributedString().string())},
        {QStringLiteral("runs"), runs},
    };
}

} // namespace

int LogCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Prints the log of each sync, oldest first: when it started, how "
                                                 "many errors it had, and its text.\nThe logs are kept in %1.")
                                      .arg(SyncLogFile::path()));
    const QCommandLineOption last(QStringLiteral("last"), QStringLiteral("Only the last N logs."), QStringLiteral("N"));
    const QCommandLineOption json(QStringLiteral("json"),
                                  QStringLiteral("Print JSON: [{\"entry\", \"date\", \"errorCount\", \"text\", "
                                                 "\"runs\": [{\"start\", \"length\", \"font\", \"bold\", \"size\", "
                                                 "\"color\"}]}]."));
    options.addOption(last);
    options.addOption(json);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    const QCommandLineParser &parser = options.parser();
    if (!parser.positionalArguments().isEmpty())
        return console.fail(QStringLiteral("log takes no arguments"), ExitCode::Usage);
    qsizetype wanted = -1;
    if (parser.isSet(last)) {
        bool isNumber = false;
        wanted = parser.value(last).toInt(&isNumber);
        if (!isNumber || wanted <= 0)
            return console.fail(QStringLiteral("--last takes a positive number, not \"%1\"").arg(parser.value(last)),
                                ExitCode::Usage);
    }

    QString error;
    const std::optional<QList<QByteArray>> entries = SyncLogFile::readEntries(&error);
    if (!entries)
        return console.fail(error, ExitCode::Failure);
    const bool asJson = parser.isSet(json);
    if (entries->isEmpty()) {
        if (asJson)
            console.printJson(QJsonArray());
        else
            console.print(QStringLiteral("No sync log yet."));
        return ExitCode::Success;
    }

    const bool useAnsi = !asJson && console.isTerminal() && qEnvironmentVariableIsEmpty("NO_COLOR");
    const qsizetype first = wanted < 0 ? 0 : std::max<qsizetype>(0, entries->size() - wanted);
    bool everyEntryRead = true;
    bool printedAny = false;
    QJsonArray logs;
    for (qsizetype i = first; i < entries->size(); ++i) {
        const Result<std::shared_ptr<LogManager>> read = LogManager::fromArchive(entries->at(i));
        if (!read) {
            // The others are still shown; the exit status tells a script that one was lost.
            console.warn(QStringLiteral("sync log entry %1 cannot be read: %2").arg(i + 1).arg(read.errorString()));
            everyEntryRead = false;
            continue;
        }
        const LogManager &log = **read;
        if (asJson) {
            logs.append(toJson(log, i + 1));
            continue;
        }
        if (printedAny)
            console.print(QString());
        console.print(textBlock(log, useAnsi));
        printedAny = true;
    }
    if (asJson)
        console.printJson(logs);
    return everyEntryRead ? ExitCode::Success : ExitCode::Failure;
}
