#include "display/gui/input_box.h"

#include <QFontDatabase>
#include <QFontMetrics>
#include <QInputDialog>
#include <QLineEdit>
#include <algorithm>

namespace lumetra {
namespace {

// The window manager's buttons and frame beside the title text, screen pixels.
constexpr int kTitleBarExtra = 140;

}  // namespace

std::unique_ptr<QInputDialog> MakeInputBox(QWidget* parent, const QString& title,
                                           const QString& prompt, const QString& text) {
  auto box = std::make_unique<QInputDialog>(parent);
  box->setWindowTitle(title);
  box->setLabelText(prompt);
  box->setTextValue(text);
  box->setInputMode(QInputDialog::TextInput);
  // Title bars use the title font; the bolder of it and the dialog's own font
  // decides, so that no title is cut short.
  const QFontMetrics title_font(QFontDatabase::systemFont(QFontDatabase::TitleFont));
  const QFontMetrics own_font(box->font());
  const int need =
      std::max(title_font.horizontalAdvance(title), own_font.horizontalAdvance(title)) +
      kTitleBarExtra;
  // The dialog's layout sets its size from its contents: the text field
  // carries the width.
  if (auto* edit = box->findChild<QLineEdit*>()) edit->setMinimumWidth(need);
  return box;
}

std::optional<QString> AskInputBox(QWidget* parent, const QString& title, const QString& prompt,
                                   const QString& text) {
  const auto box = MakeInputBox(parent, title, prompt, text);
  if (box->exec() != QDialog::Accepted) return std::nullopt;
  return box->textValue();
}

}  // namespace lumetra
