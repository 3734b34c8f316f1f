// The program's input box (title, prompt, offered text), shared by the main
// window and the tool windows.
#pragma once

#include <QString>
#include <memory>
#include <optional>

class QInputDialog;
class QWidget;

namespace lumetra {

// The input box, not yet shown: at least as wide as its title, because the
// titles carry the accepted range ("Set Strength for Sharpening filter (0.2-20)").
std::unique_ptr<QInputDialog> MakeInputBox(QWidget* parent, const QString& title,
                                           const QString& prompt, const QString& text);
// Shows it; nothing when cancelled.
std::optional<QString> AskInputBox(QWidget* parent, const QString& title, const QString& prompt,
                                   const QString& text);

}  // namespace lumetra
