// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <vector>

#include "platform/ui/ScrollView.h"

namespace bdx::ui {

// A collection view: a scroll view whose cells are among its subviews.
class CollectionView : public ScrollView {
  public:
    explicit CollectionView(std::string className = "UICollectionView",
                            std::string_view kindOf = "UICollectionView")
        : ScrollView(std::move(className), kindOf) {}

    // The subviews that are collection cells and not hidden, in subview order.
    std::vector<std::shared_ptr<View>> visibleCells() const;
};

}  // namespace bdx::ui
