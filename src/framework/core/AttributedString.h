#pragma once

#include "tivaro_export.h"

#include "TextAttributes.h"

#include <QList>
#include <QString>

#include <functional>

// Text with a style on each stretch of it, the platform's attributed string. The runs cover the
// text from start to end without gaps, and neighbouring runs always differ in style.
class TIVARO_EXPORT AttributedString
{
public:
    struct Run {
        qsizetype start = 0;
        qsizetype length = 0;
        TextAttributes attributes;
        bool operator==(const Run &other) const = default;
    };

    AttributedString() = default;
    explicit AttributedString(const QString &text, const TextAttributes &attributes = {});

    const QString &string() const { return m_text; }
    qsizetype length() const { return m_text.size(); }
    bool isEmpty() const { return m_text.isEmpty(); }
    const QList<Run> &runs() const { return m_runs; }

    // The style of the character at `index`; no attributes outside the text.
    TextAttributes attributesAt(qsizetype index) const;

    void append(const QString &text, const TextAttributes &attributes = {});
    void append(const AttributedString &other);
    // Applies `change` to the style of every character in [start, start + length), clamped to the text.
    void changeAttributes(qsizetype start, qsizetype length, const std::function<void(TextAttributes &)> &change);

    bool operator==(const AttributedString &other) const = default;

private:
    QString m_text;
    QList<Run> m_runs;
};
