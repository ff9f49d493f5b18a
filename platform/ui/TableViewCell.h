#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/ui/View.h"

namespace bdx::ui {

// A cell of a table view: its reuse identifier, its selection, and the content view that holds what
// it shows (made on first use, as the first subview).
class TableViewCell : public View {
  public:
    explicit TableViewCell(std::string className = "UITableViewCell",
                           std::string_view kindOf = "UITableViewCell")
        : View(std::move(className), kindOf) {}

    const std::optional<std::string>& reuseIdentifier() const { return reuseIdentifier_; }
    void setReuseIdentifier(std::optional<std::string> identifier) {
        reuseIdentifier_ = std::move(identifier);
    }
    bool isSelected() const { return selected_; }
    void setSelected(bool selected) { selected_ = selected; }
    std::shared_ptr<View> contentView();

  private:
    std::optional<std::string> reuseIdentifier_;
    bool selected_ = false;
    std::weak_ptr<View> contentView_;
};

}  // namespace bdx::ui
