// Public header: installed with the library for hosts to include.
#pragma once

#include <string>
#include <string_view>

#include "platform/ui/ReusableCell.h"

namespace bdx::ui {

// A cell of a collection view.
class CollectionViewCell : public ReusableCell {
  public:
    explicit CollectionViewCell(std::string className = "UICollectionViewCell",
                                std::string_view kindOf = "UICollectionViewCell")
        : ReusableCell(std::move(className), kindOf, "UIView") {}
};

}  // namespace bdx::ui
