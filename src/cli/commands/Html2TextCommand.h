#pragma once

#include "Command.h"

#include <QByteArray>

#include <optional>

// `tivaro html2text FILE|URL [--start MARKER]`: a web page as the readable text a note gets.
class Html2TextCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("html2text")}; }
    QString summary() const override { return QStringLiteral("Turn an HTML page into note text"); }
    int run(const QStringList &arguments, Console &console) override;

private:
    static std::optional<QByteArray> readSource(const QString &source, Console &console);
};
