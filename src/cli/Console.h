#pragma once

#include <QJsonValue>
#include <QString>
#include <QTextStream>

#include <optional>

// Where commands print: results to standard output, one-line errors to standard error.
class Console
{
public:
    Console();

    void print(const QString &line);
    // `text` as it is, without a line break, at once.
    void write(const QString &text);
    void printJson(const QJsonValue &value);
    // Bytes to standard output as they are, such as a downloaded body; false when they could not be
    // written (a closed pipe, a full disk).
    bool writeRaw(const QByteArray &bytes);
    // "tivaro: <message>" on standard error; returns `exitCode` so commands can `return console.fail(...)`.
    int fail(const QString &message, int exitCode);
    // "tivaro: warning: <message>" on standard error, for work done with a caveat.
    void warn(const QString &message);
    // Whether standard output is a terminal, where styled text may use ANSI escapes.
    bool isTerminal() const;

    // The text of FILE, or of standard input for "-" or no argument. Nullopt, after printing why,
    // when it cannot be read or is not UTF-8.
    std::optional<QString> readTextInput(const QString &fileOrDash);

private:
    QTextStream m_out;
    QTextStream m_err;
};
