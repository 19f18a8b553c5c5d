#include "AttributedString.h"

#include <algorithm>

AttributedString::AttributedString(const QString &text, const TextAttributes &attributes)
{
    append(text, attributes);
}

TextAttributes AttributedString::attributesAt(qsizetype index) const
{
    const auto run = std::upper_bound(m_runs.cbegin(), m_runs.cend(), index,
                                      [](qsizetype position, const Run &r) { return position < r.start; });
    if (index < 0 || index >= length() || run == m_runs.cbegin())
        return {};
    return std::prev(run)->attributes;
}

void AttributedString::append(const QString &text, const TextAttributes &attributes)
{
    if (text.isEmpty())
        return;
    if (!m_runs.isEmpty() && m_runs.last().attributes == attributes)
        m_runs.last().length += text.size();
    else
        m_runs.append(Run{m_text.size(), text.size(), attributes});
    m_text += text;
}

void AttributedString::append(const AttributedString &other)
{
    for (const Run &run : other.m_runs)
        append(other.m_text.mid(run.start, run.length), run.attributes);
}
