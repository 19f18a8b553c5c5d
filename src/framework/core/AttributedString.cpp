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

void AttributedString::changeAttributes(qsizetype start, qsizetype length,
                                        const std::function<void(TextAttributes &)> &change)
{
    const qsizetype from = std::clamp<qsizetype>(start, 0, m_text.size());
    const qsizetype to =
        std::clamp<qsizetype>(length > m_text.size() - from ? m_text.size() : from + length, from, m_text.size());
    AttributedString result;
    for (const Run &run : std::as_const(m_runs)) {
        const qsizetype end = run.start + run.length;
        const qsizetype inStart = std::clamp(from, run.start, end);
        const qsizetype inEnd = std::clamp(to, run.start, end);
        TextAttributes changed = run.attributes;
        change(changed);
        result.append(m_text.mid(run.start, inStart - run.start), run.attributes);
        result.append(m_text.mid(inStart, inEnd - inStart), changed);
        result.append(m_text.mid(inEnd, end - inEnd), run.attributes);
    }
    *this = std::move(result);
}
