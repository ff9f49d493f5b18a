// Public header: installed with the library for hosts to include.
#pragma once

#include <string>
#include <string_view>

#include "platform/ui/ReusableCell.h"

namespace bdx::ui {

// A cell of a table view.
class TableViewCell : public ReusableCell {
  public:
    explicit TableViewCell(std::string className = "UITableViewCell",
                           std::string_view kindOf = "UITableViewCell")
        : ReusableCell(std::move(className), kindOf, "UITableViewCellContentView") {}
};

}  // namespace bdx::ui
