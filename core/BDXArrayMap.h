#pragma once

#include <functional>
#include <optional>
#include <type_traits>
#include <vector>

// Maps a list through `block`, in order. A result the block leaves absent is left out, so the new list
// can be shorter than the old one: mapping and filtering in one pass.
template <
    typename Element, typename Block,
    typename Result = typename std::remove_cvref_t<std::invoke_result_t<Block&, const Element&>>::value_type>
std::vector<Result> mapWithBlock(const std::vector<Element>& list, Block&& block) {
    std::vector<Result> mapped;
    mapped.reserve(list.size());
    for (const auto& element : list) {
        std::optional<Result> result = std::invoke(block, element);
        if (result) {
            mapped.push_back(std::move(*result));
        }
    }
    return mapped;
}
