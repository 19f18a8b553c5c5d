// Archived group-node trees, as read back from a file.
#include "feeds/GroupNode_p.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::shared_ptr<GroupNode> root = GroupNode::unarchive(bytes);
    if (!root)
        return 0;
    (void)root->totalNumberOfChildren();
    root->sort();
    // A tree that was read is written back.
    if (root->archive().isEmpty())
        __builtin_trap();
    return 0;
}
