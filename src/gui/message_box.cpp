#include "gui/message_box.h"

#include <QMessageBox>
#include <QPushButton>
#include <array>
#include <utility>
#include <vector>

#include "core/user_port.h"

namespace mandrel {

namespace {

constexpr int kIconMask = 0xF0;
constexpr int kButtonsMask = 0x0F;
constexpr int kSecondButtonDefault = 0x100;

QMessageBox::Icon IconFor(int style) {
    switch (style & kIconMask) {
        case 16:
            return QMessageBox::Critical;
        case 32:
            return QMessageBox::Question;
        case 48:
            return QMessageBox::Warning;
        case 64:
            return QMessageBox::Information;
        default:
            return QMessageBox::NoIcon;
    }
}

using ButtonSet = std::vector<std::pair<QMessageBox::StandardButton, int>>;

// The buttons of a style, in their order, with the number each one returns.
ButtonSet ButtonsFor(int style) {
    switch (style & kButtonsMask) {
        case 1:
            return {{QMessageBox::Ok, kIdOk}, {QMessageBox::Cancel, kIdCancel}};
        case 3:
            return {{QMessageBox::Yes, kIdYes},
                    {QMessageBox::No, kIdNo},
                    {QMessageBox::Cancel, kIdCancel}};
        case 4:
            return {{QMessageBox::Yes, kIdYes}, {QMessageBox::No, kIdNo}};
        default:
            return {{QMessageBox::Ok, kIdOk}};
    }
}

}  // namespace

int ShowMessageBox(QWidget* owner, const QString& caption, int style, const QString& text) {
    QMessageBox box(IconFor(style), caption, text, QMessageBox::NoButton, owner);
    const ButtonSet buttons = ButtonsFor(style);
    for (const auto& [button, number] : buttons) {
        box.addButton(button);
    }
    const std::size_t defaultIndex = (style & kSecondButtonDefault) != 0 ? 1 : 0;
    box.setDefaultButton(buttons[std::min(defaultIndex, buttons.size() - 1)].first);
    // Escape answers Cancel where there is one, and closes a box with OK alone.
    if (buttons.back().second == kIdCancel || buttons.size() == 1) {
        box.setEscapeButton(buttons.back().first);
    }
    box.exec();
    const auto pressed = box.standardButton(box.clickedButton());
    for (const auto& [button, number] : buttons) {
        if (button == pressed) {
            return number;
        }
    }
    return buttons.size() == 1 ? kIdOk : kIdCancel;
}

}  // namespace mandrel
