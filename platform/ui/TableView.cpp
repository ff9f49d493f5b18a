#include "platform/ui/TableView.h"

namespace bdx::ui {

std::vector<std::shared_ptr<View>> TableView::visibleCells() const {
    std::vector<std::shared_ptr<View>> cells;
    for (const auto& subview : subviews()) {
        if (subview->isKindOf("UITableViewCell") && !subview->isHidden()) {
            cells.push_back(subview);
        }
    }
    return cells;
}

}  // namespace bdx::ui
