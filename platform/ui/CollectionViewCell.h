#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/ui/View.h"

namespace bdx::ui {

// A cell of a collection view: its reuse identifier, its selection, and the content view that holds
// what it shows (made on first use, as the first subview).
class CollectionViewCell : public View {
  public:
    explicit CollectionViewCell(std::string className = "UICollectionViewCell",
                                std::string_view kindOf = "UICollectionViewCell")
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
