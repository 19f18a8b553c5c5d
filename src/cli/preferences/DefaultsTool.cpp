#include "DefaultsTool.h"

#include "DefaultsValue.h"
#include "PreferenceStore.h"

#include "Console.h"
#include "ExitCode.h"

#include "core/PropertyList.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

// A value of any JSON type as one line of text; QJsonDocument holds only objects and arrays.
QString jsonText(const QJsonValue &value)
{
    if (value.isObject() || value.isArray())
        return QString::fromUtf8(value.isObject() ? QJsonDocument(value.toObject()).toJson(QJsonDocument::Indented)
                                                  : QJsonDocument(value.toArray()).toJson(QJsonDocument::Indented))
            .trimmed();
    const QByteArray wrapped = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(wrapped.mid(1, wrapped.size() - 2));
}

} // namespace

DefaultsTool::DefaultsTool(const QString &command, PreferenceStore &store, Console &console)
    : m_command(command)
    , m_store(store)
    , m_console(console)
{}

bool DefaultsTool::isHelpRequest(const QStringList &arguments)
{
    return !arguments.isEmpty() &&
           (arguments.constFirst() == QLatin1String("--help") || arguments.constFirst() == QLatin1String("-h"));
}

QString DefaultsTool::usage(const QString &command)
{
    return QStringLiteral("Usage: %1 read [--json] [KEY]    print every value, or one\n"
                          "       %1 write KEY VALUE        set one value\n"
                          "       %1 delete [KEY]           remove one value, or every one\n")
               .arg(command) +
           DefaultsValue::syntax();
}

int DefaultsTool::run(const QStringList &arguments)
{
    if (isHelpRequest(arguments) || (arguments.size() == 2 && isHelpRequest(arguments.mid(1)))) {
        m_console.print(usage(m_command));
        return ExitCode::Success;
    }
    if (arguments.isEmpty())
        return usageError(QStringLiteral("read, write or delete is missing"));
    const QString verb = arguments.constFirst();
    if (verb == QLatin1String("read"))
        return read(arguments.mid(1));
    if (verb == QLatin1String("write"))
        return write(arguments.mid(1));
    if (verb == QLatin1String("delete"))
        return remove(arguments.mid(1));
    return usageError(QStringLiteral("\"%1\" is not read, write or delete").arg(verb));
}

int DefaultsTool::read(const QStringList &arguments)
{
    QStringList keys = arguments;
    const bool asJson = keys.removeAll(QStringLiteral("--json")) > 0;
    if (keys.size() > 1)
        return usageError(QStringLiteral("read takes at most one KEY"));
    const QString problem = fileProblem();
    if (!problem.isEmpty())
        return m_console.fail(QStringLiteral("cannot read %1: %2").arg(m_store.filePath(), problem), ExitCode::Failure);
    const QVariantMap values = m_store.values();
    if (keys.isEmpty()) {
        m_console.print(asJson ? jsonText(DefaultsValue::toJson(values)) : DefaultsValue::toText(values));
        return ExitCode::Success;
    }
    const auto found = values.constFind(keys.constFirst());
    if (found == values.cend())
        return m_console.fail(
            QStringLiteral("%1 has no value for the key \"%2\"").arg(m_store.name(), keys.constFirst()),
            ExitCode::Failure);
    m_console.print(asJson ? jsonText(DefaultsValue::toJson(*found)) : DefaultsValue::toText(*found));
    return ExitCode::Success;
}

int DefaultsTool::write(const QStringList &arguments)
{
    if (arguments.size() < 2)
        return usageError(QStringLiteral("write takes a KEY and a VALUE"));
    const QString key = arguments.constFirst();
    if (key.isEmpty())
        return usageError(QStringLiteral("the KEY may not be empty"));
    QString error;
    const std::optional<QVariant> value = DefaultsValue::parse(arguments.mid(1), &error);
    if (!value)
        return usageError(error);
    const QString problem = fileProblem();
    m_store.setValue(key, *value);
    return save(problem);
}

int DefaultsTool::remove(const QStringList &arguments)
{
    if (arguments.size() > 1)
        return usageError(QStringLiteral("delete takes at most one KEY"));
    const QString problem = fileProblem();
    const QVariantMap values = m_store.values();
    if (!arguments.isEmpty()) {
        if (!values.contains(arguments.constFirst()))
            return m_console.fail(QStringLiteral("%1 has no value for the key \"%2\"; nothing was changed")
                                      .arg(m_store.name(), arguments.constFirst()),
                                  ExitCode::Failure);
        m_store.removeValue(arguments.constFirst());
        return save(problem);
    }
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        m_store.removeValue(it.key());
    return save(problem);
}

int DefaultsTool::usageError(const QString &message) const
{
    return m_console.fail(message + QLatin1Char('\n') + usage(m_command), ExitCode::Usage);
}

int DefaultsTool::save(const QString &unreadable)
{
    QString error;
    if (!m_store.save(&error))
        return m_console.fail(QStringLiteral("cannot save %1: %2").arg(m_store.name(), error), ExitCode::Failure);
    // Saving no change may leave the file as it was (deleting every key of a file whose keys were
    // never read): then nothing was kept aside.
    if (!unreadable.isEmpty() && !fileProblem().isEmpty())
        return m_console.fail(
            QStringLiteral("%1 could not be read (%2); nothing was changed").arg(m_store.filePath(), unreadable),
            ExitCode::Failure);
    if (!unreadable.isEmpty())
        m_console.warn(QStringLiteral("%1 could not be read (%2); it was kept beside the new file as "
                                      "\"%3.corrupt-<date>\"")
                           .arg(m_store.filePath(), unreadable, QFileInfo(m_store.filePath()).fileName()));
    return ExitCode::Success;
}

QString DefaultsTool::fileProblem() const
{
    const QString path = m_store.filePath();
    if (!QFileInfo::exists(path))
        return {};
    QString reason;
    const std::optional<QVariant> root = PropertyList::readFile(path, &reason);
    if (root && root->metaType().id() == QMetaType::QVariantMap)
        return {};
    return root ? QStringLiteral("it holds no dictionary") : reason;
}
