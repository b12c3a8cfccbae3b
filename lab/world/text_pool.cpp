#include "lab/world/text_pool.h"

TextId TextPool::intern(std::string_view text)
{
    auto found = ids_.find(text);
    if (found != ids_.end())
        return found->second;
    TextId id = static_cast<TextId>(texts_.size());
    texts_.emplace_back(text);
    ids_.emplace(texts_.back(), id);
    return id;
}

bool TextPool::find(std::string_view text, TextId& id) const
{
    auto found = ids_.find(text);
    if (found != ids_.end())
        id = found->second;
    return found != ids_.end();
}
