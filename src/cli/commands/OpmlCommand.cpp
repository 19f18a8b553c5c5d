#include "OpmlCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"

#include "feeds/TVROPMLDocument.h"
#include "feeds/TVROPMLNode.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

namespace {

const TVROPMLNode &asOutline(const std::shared_ptr<Node> &node)
{
    return static_cast<const TVROPMLNode &>(*node);
}

// "text [type] url", two spaces of indent a level.
void printTree(const Node &parent, int depth, Console &console)
{
    for (const std::shared_ptr<Node> &child : parent.children()) {
        const TVROPMLNode &outline = asOutline(child);
        QString line = QString(depth * 2, QLatin1Char(' ')) + outline.text();
        if (!outline.type().isEmpty())
            line += QStringLiteral(" [") + outline.type() + QLatin1Char(']');
        if (!outline.url().isEmpty())
            line += QLatin1Char(' ') + outline.url();
        console.print(line);
        printTree(*child, depth + 1, console);
    }
}

QJsonValue orNull(const QString &text)
{
    return text.isNull() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

QJsonArray toJson(const Node &parent)
{
    QJsonArray outlines;
    for (const std::shared_ptr<Node> &child : parent.children()) {
        const TVROPMLNode &outline = asOutline(child);
        QJsonObject attributes;
        for (const auto &[name, value] : outline.attributes())
            attributes.insert(name, value);
        outlines.append(QJsonObject{
            {QStringLiteral("text"), orNull(outline.text())},
            {QStringLiteral("type"), orNull(outline.type())},
            {QStringLiteral("url"), orNull(outline.url())},
            {QStringLiteral("attributes"), attributes},
            {QStringLiteral("children"), toJson(*child)},
        });
    }
    return outlines;
}

} // namespace

int OpmlCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Prints the outlines of an OPML file as an indented tree: each "
                                                 "outline's text, then its [type] and url when it has them."));
    const QCommandLineOption json(QStringLiteral("json"),
                                  QStringLiteral("Print JSON: [{\"text\", \"type\", \"url\", \"attributes\", "
                                                 "\"children\": [...]}]."));
    options.addOption(json);
    options.addPositional(QStringLiteral("FILE"), QStringLiteral("The OPML file."), QStringLiteral("FILE"));
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    const QStringList files = options.parser().positionalArguments();
    if (files.size() != 1)
        return console.fail(QStringLiteral("opml takes one FILE"), ExitCode::Usage);
    const QString &path = files.constFirst();
    if (!QFileInfo(path).isFile() || !QFileInfo(path).isReadable())
        return console.fail(QStringLiteral("cannot read \"%1\"").arg(path), ExitCode::Failure);

    const std::shared_ptr<TVROPMLDocument> document = TVROPMLDocument::documentWithContentsOfFile(path);
    const std::shared_ptr<TVROPMLNode> root = document->rootNode();
    if (!root)
        return console.fail(QStringLiteral("\"%1\" cannot be read as OPML: %2").arg(path, document->problem()),
                            ExitCode::Failure);
    if (options.parser().isSet(json))
        console.printJson(toJson(*root));
    else
        printTree(*root, 0, console);
    return ExitCode::Success;
}
