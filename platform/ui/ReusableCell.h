// Public header: installed with the library for hosts to include.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/ui/View.h"

namespace bdx::ui {

// What table and collection cells share: a reuse identifier, a selection, and the content view that
// holds what the cell shows (made on first use, as the first subview, of the class the cell names).
class ReusableCell : public View {
  public:
    const std::optional<std::string>& reuseIdentifier() const { return reuseIdentifier_; }
    void setReuseIdentifier(std::optional<std::string> identifier) {
        reuseIdentifier_ = std::move(identifier);
    }
    bool isSelected() const { return selected_; }
    void setSelected(bool selected) { selected_ = selected; }
    std::shared_ptr<View> contentView();

  protected:
    ReusableCell(std::string className, std::string_view kindOf, std::string contentViewClassName)
        : View(std::move(className), kindOf), contentViewClassName_(std::move(contentViewClassName)) {}

  private:
    std::optional<std::string> reuseIdentifier_;
    bool selected_ = false;
    std::string contentViewClassName_;
    std::weak_ptr<View> contentView_;
};

}  // namespace bdx::ui
