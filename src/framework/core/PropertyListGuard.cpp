#include "PropertyListGuard_p.h"

#include <QHash>

#include <optional>
#include <vector>

namespace {

// The big-endian unsigned number of `width` bytes at `offset`, or nullopt past the end.
std::optional<quint64> readBigEndian(const QByteArray &bytes, quint64 offset, int width)
{
    if (width < 1 || width > 8 || offset > quint64(bytes.size()) || offset + quint64(width) > quint64(bytes.size()))
        return std::nullopt;
    quint64 value = 0;
    for (int i = 0; i < width; ++i)
        value = (value << 8) | quint8(bytes.at(qsizetype(offset + quint64(i))));
    return value;
}

// A binary list: "bplist00", objects, a table of their offsets, and a 32-byte trailer.
class BinaryList
{
public:
    explicit BinaryList(const QByteArray &bytes)
        : m_bytes(bytes)
    {
        constexpr qsizetype kTrailerSize = 32;
        if (!bytes.startsWith("bplist") || bytes.size() < 8 + kTrailerSize)
            return;
        const quint64 trailer = quint64(bytes.size() - kTrailerSize);
        m_offsetSize = quint8(bytes.at(qsizetype(trailer + 6)));
        m_refSize = quint8(bytes.at(qsizetype(trailer + 7)));
        m_count = readBigEndian(bytes, trailer + 8, 8).value_or(0);
        m_top = readBigEndian(bytes, trailer + 16, 8).value_or(0);
        m_table = readBigEndian(bytes, trailer + 24, 8).value_or(0);
        m_valid = m_offsetSize >= 1 && m_offsetSize <= 8 && m_refSize >= 1 && m_refSize <= 8 &&
                  m_table < quint64(bytes.size()) && m_count <= quint64(bytes.size()) / m_offsetSize && m_top < m_count;
    }

    // Malformed lists are left to libplist, which refuses them without harm.
    bool isValid() const { return m_valid; }

    QString problem()
    {
        for (quint64 i = 0; i < m_count; ++i) {
            const QString found = objectProblem(i);
            if (!found.isEmpty())
                return found;
        }
        m_state.assign(size_t(m_count), Unvisited);
        m_nodes.assign(size_t(m_count), 0);
        std::optional<quint64> nodes = expand(m_top, 1);
        if (!m_problem.isEmpty())
            return m_problem;
        if (nodes && *nodes > PropertyListGuard::kMaximumNodes)
            return QStringLiteral("it would expand to more than %1 values").arg(PropertyListGuard::kMaximumNodes);
        return QString();
    }

private:
    enum State : quint8 { Unvisited, Visiting, Done };

    struct Object {
        int type = 0;        // the marker's high nibble
        quint64 count = 0;   // elements, characters or bytes
        quint64 payload = 0; // where they start
        bool wideLength = false;
    };

    std::optional<Object> object(quint64 index) const
    {
        const std::optional<quint64> offset = readBigEndian(m_bytes, m_table + index * m_offsetSize, m_offsetSize);
        if (!offset || *offset >= quint64(m_bytes.size()))
            return std::nullopt;
        const quint8 marker = quint8(m_bytes.at(qsizetype(*offset)));
        Object found{marker >> 4, quint64(marker & 0x0F), *offset + 1, false};
        const bool counted = found.type == 0x4 || found.type == 0x5 || found.type == 0x6 || found.type == 0xA ||
                             found.type == 0xC || found.type == 0xD;
        if (found.count == 0x0F && counted) {
            if (found.payload >= quint64(m_bytes.size()))
                return std::nullopt;
            const quint8 lengthMarker = quint8(m_bytes.at(qsizetype(found.payload)));
            const int width = 1 << (lengthMarker & 0x0F);
            if ((lengthMarker >> 4) != 0x1)
                return std::nullopt;
            if (width > 8) {
                found.wideLength = true;
                return found;
            }
            const std::optional<quint64> length = readBigEndian(m_bytes, found.payload + 1, width);
            if (!length)
                return std::nullopt;
            found.count = *length;
            found.payload += 1 + quint64(width);
        }
        return found;
    }

    QString objectProblem(quint64 index) const
    {
        const std::optional<Object> found = object(index);
        if (!found)
            return QString();
        if (found->wideLength)
            return QStringLiteral("a length is wider than 64 bits");
        if (found->type != 0x5 && found->type != 0x6)
            return QString();
        const quint64 unit = found->type == 0x6 ? 2 : 1;
        if (found->count > quint64(m_bytes.size()) || found->payload + found->count * unit > quint64(m_bytes.size()))
            return QString();
        for (quint64 c = 0; c < found->count; ++c) {
            const qsizetype at = qsizetype(found->payload + c * unit);
            if (m_bytes.at(at) == 0 && (unit == 1 || m_bytes.at(at + 1) == 0))
                return QStringLiteral("a string holds a NUL character");
        }
        return QString();
    }

    // The number of values the object stands for once shared objects are copied, as libplist does;
    // nullopt for references libplist refuses anyway (cycles, bad indexes).
    std::optional<quint64> expand(quint64 index, int depth)
    {
        if (index >= m_count)
            return std::nullopt;
        if (m_state[size_t(index)] == Done)
            return m_nodes[size_t(index)];
        if (m_state[size_t(index)] == Visiting)
            return std::nullopt;
        if (depth > PropertyListGuard::kMaximumDepth) {
            m_problem = QStringLiteral("it nests deeper than %1 levels").arg(PropertyListGuard::kMaximumDepth);
            return std::nullopt;
        }
        const std::optional<Object> found = object(index);
        quint64 total = 1;
        if (found && (found->type == 0xA || found->type == 0xC || found->type == 0xD)) {
            m_state[size_t(index)] = Visiting;
            const quint64 refs = found->type == 0xD ? found->count * 2 : found->count;
            if (refs > quint64(m_bytes.size()) || found->payload + refs * m_refSize > quint64(m_bytes.size()))
                return std::nullopt;
            for (quint64 r = 0; r < refs && m_problem.isEmpty(); ++r) {
                const std::optional<quint64> child = readBigEndian(m_bytes, found->payload + r * m_refSize, m_refSize);
                const std::optional<quint64> nodes = child ? expand(*child, depth + 1) : std::nullopt;
                if (!nodes)
                    return std::nullopt;
                total = std::min(total + *nodes, PropertyListGuard::kMaximumNodes + 1);
            }
        }
        m_state[size_t(index)] = Done;
        m_nodes[size_t(index)] = total;
        return total;
    }

    const QByteArray &m_bytes;
    int m_offsetSize = 0;
    int m_refSize = 0;
    quint64 m_count = 0;
    quint64 m_top = 0;
    quint64 m_table = 0;
    bool m_valid = false;
    std::vector<State> m_state;
    std::vector<quint64> m_nodes;
    QString m_problem;
};

// The deepest nesting of <array> and <dict> elements in XML text; self-closing ones do not count.
int xmlDepth(const QByteArray &bytes)
{
    int depth = 0;
    int deepest = 0;
    for (qsizetype at = bytes.indexOf('<'); at >= 0; at = bytes.indexOf('<', at + 1)) {
        const QByteArrayView rest = QByteArrayView(bytes).sliced(at + 1);
        if (rest.startsWith("array>") || rest.startsWith("dict>"))
            deepest = std::max(deepest, ++depth);
        else if (rest.startsWith("/array>") || rest.startsWith("/dict>"))
            depth = std::max(0, depth - 1);
    }
    return deepest;
}

} // namespace

namespace PropertyListGuard {

QString problemWith(const QByteArray &bytes)
{
    if (bytes.startsWith("bplist")) {
        BinaryList list(bytes);
        return list.isValid() ? list.problem() : QString();
    }
    if (xmlDepth(bytes) > kMaximumDepth)
        return QStringLiteral("it nests deeper than %1 levels").arg(kMaximumDepth);
    return QString();
}

} // namespace PropertyListGuard
