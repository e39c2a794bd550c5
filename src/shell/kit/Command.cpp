#include "shell/kit/Command.h"

#include <utility>

namespace larkfold {

Command::Command(Row row, QObject* parent) : QObject(parent), row_(std::move(row)), state_(row_.state()) {}

void Command::update() {
    State state = row_.state();
    if (state != state_) {
        state_ = std::move(state);
        emit changed();
    }
}

void Command::trigger() {
    update();
    if (!isEnabled()) {
        return;
    }
    if (row_.act) {
        row_.act();
    }
    emit triggered();
}

}  // namespace larkfold
