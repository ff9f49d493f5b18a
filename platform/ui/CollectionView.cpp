#include "platform/ui/CollectionView.h"

namespace bdx::ui {

std::vector<std::shared_ptr<View>> CollectionView::visibleCells() const {
    std::vector<std::shared_ptr<View>> cells;
    for (const auto& subview : subviews()) {
        if (subview->isKindOf("UICollectionViewCell") && !subview->isHidden()) {
            cells.push_back(subview);
        }
    }
    return cells;
}

}  // namespace bdx::ui
