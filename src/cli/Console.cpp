#include "Console.h"

#include "ExitCode.h"

#include "core/StringEncoding.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

#include <unistd.h>

Console::Console()
    : m_out(stdout)
    , m_err(stderr)
{}

void Console::print(const QString &line)
{
    m_out << line << '\n';
    m_out.flush();
}

void Console::write(const QString &text)
{
    m_out << text;
    m_out.flush();
}

void Console::printJson(const QJsonValue &value)
{
    const QJsonDocument document = value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    m_out << QString::fromUtf8(document.toJson(QJsonDocument::Indented));
    m_out.flush();
}

bool Console::writeRaw(const QByteArray &bytes)
{
    m_out.flush();
    QFile out;
    if (!out.open(stdout, QIODevice::WriteOnly))
        return false;
    return out.write(bytes) == bytes.size() && out.flush();
}

int Console::fail(const QString &message, int exitCode)
{
    m_err << "tivaro: " << message << '\n';
    m_err.flush();
    return exitCode;
}

void Console::warn(const QString &message)
{
    m_err << "tivaro: warning: " << message << '\n';
    m_err.flush();
}

bool Console::isTerminal() const
{
    return ::isatty(STDOUT_FILENO);
}

std::optional<QString> Console::readTextInput(const QString &fileOrDash)
{
    QFile file;
    const bool standardInput = fileOrDash.isEmpty() || fileOrDash == QLatin1String("-");
    const bool opened = standardInput ? file.open(stdin, QIODevice::ReadOnly)
                                      : (file.setFileName(fileOrDash), file.open(QIODevice::ReadOnly));
    const QString what = standardInput ? QStringLiteral("standard input") : fileOrDash;
    // Someone typing at a terminal is told how to finish.
    if (standardInput && ::isatty(STDIN_FILENO))
        m_err << "Reading the text from standard input; end it with Ctrl-D.\n" << Qt::flush;
    if (!opened) {
        fail(QStringLiteral("cannot read %1: %2").arg(what, file.errorString()), ExitCode::Failure);
        return std::nullopt;
    }
    const QByteArray bytes = file.readAll();
    const std::optional<QString> text = StringEncoding::decode(bytes, StringEncoding::UTF8);
    if (!text)
        fail(QStringLiteral("%1 is not valid UTF-8 text").arg(what), ExitCode::Failure);
    return text;
}
