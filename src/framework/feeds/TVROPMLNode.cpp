#include "TVROPMLNode.h"

std::shared_ptr<TVROPMLNode> TVROPMLNode::node()
{
    return std::make_shared<TVROPMLNode>();
}

bool TVROPMLNode::isGroup() const
{
    if (numberOfChildren() > 0)
        return true;
    if (m_url.endsWith(QLatin1String(".opml")))
        return true;
    return m_url.isNull();
}
