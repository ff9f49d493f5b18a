// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <vector>

#include "platform/ui/ScrollView.h"

namespace bdx::ui {

// A table view: a scroll view whose cells are among its subviews.
class TableView : public ScrollView {
  public:
    explicit TableView(std::string className = "UITableView", std::string_view kindOf = "UITableView")
        : ScrollView(std::move(className), kindOf) {}

    // The subviews that are table cells and not hidden, in subview order.
    std::vector<std::shared_ptr<View>> visibleCells() const;
};

}  // namespace bdx::ui
