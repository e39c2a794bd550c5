#include "shell/app/WindowMemory.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>
#include <algorithm>
#include <chrono>

#include "platform/UserDefaults.h"

namespace larkfold {

namespace {

constexpr const char* kX = "windowX";
constexpr const char* kY = "windowY";
constexpr const char* kWidth = "windowWidth";
constexpr const char* kHeight = "windowHeight";
constexpr const char* kMaximized = "windowIsMaximized";

constexpr std::chrono::milliseconds kSettleTime{700};

// The rectangle, made to fit the screen it lies on; nothing where it lies on none.
std::optional<QRect> fitted(const QRect& rect) {
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QRect room = screen->availableGeometry();
        if (room.intersects(rect)) {
            const QSize size = rect.size().boundedTo(room.size());
            return QRect(QPoint(std::clamp(rect.x(), room.left(), room.right() + 1 - size.width()),
                                std::clamp(rect.y(), room.top(), room.bottom() + 1 - size.height())),
                         size);
        }
    }
    return std::nullopt;
}

}  // namespace

WindowMemory::WindowMemory(UserDefaults& defaults, QObject* parent) : QObject(parent), defaults_(defaults) {
    settle_.setSingleShot(true);
    settle_.setInterval(kSettleTime);
    connect(&settle_, &QTimer::timeout, this, &WindowMemory::save);
}

WindowMemory::~WindowMemory() {
    if (settle_.isActive()) {
        save();
    }
}

std::optional<QRect> WindowMemory::storedGeometry() const {
    const auto x = defaults_.integerForKey(kX);
    const auto y = defaults_.integerForKey(kY);
    const auto width = defaults_.integerForKey(kWidth);
    const auto height = defaults_.integerForKey(kHeight);
    if (!x || !y || !width || !height) {
        return std::nullopt;
    }
    // Hand-edited nonsense must not become an overflow.
    const auto inRange = [](std::int64_t value) { return value > -100'000 && value < 100'000; };
    if (!inRange(*x) || !inRange(*y) || !inRange(*width) || !inRange(*height) || *width < 1 || *height < 1) {
        return std::nullopt;
    }
    return QRect(static_cast<int>(*x), static_cast<int>(*y), static_cast<int>(*width),
                 static_cast<int>(*height));
}

void WindowMemory::attach(QWindow& window) {
    window_ = &window;
    if (const auto stored = storedGeometry()) {
        if (const auto rect = fitted(*stored)) {
            window.setGeometry(*rect);
        }
    }
    maximized_ = defaults_.boolForKey(kMaximized).value_or(false);
    if (maximized_) {
        window.setWindowState(Qt::WindowMaximized);
    }
    geometry_ = window.geometry();
    connect(&window, &QWindow::xChanged, this, &WindowMemory::note);
    connect(&window, &QWindow::yChanged, this, &WindowMemory::note);
    connect(&window, &QWindow::widthChanged, this, &WindowMemory::note);
    connect(&window, &QWindow::heightChanged, this, &WindowMemory::note);
    connect(&window, &QWindow::windowStateChanged, this, &WindowMemory::note);
}

void WindowMemory::note() {
    if (!window_ || !window_->isVisible()) {
        return;
    }
    const auto states = window_->windowStates();
    maximized_ = states.testFlag(Qt::WindowMaximized);
    // The size of a maximized or minimized window is the screen's, not the one to come back to.
    if (!maximized_ && !states.testFlag(Qt::WindowFullScreen) && !states.testFlag(Qt::WindowMinimized)) {
        geometry_ = window_->geometry();
    }
    settle_.start();
}

void WindowMemory::save() {
    settle_.stop();
    // Where that cannot be saved the window opens at its usual place next time. Nothing else is lost.
    const auto store = [this](const char* key, int value) {
        if (defaults_.integerForKey(key) != value) {
            defaults_.setInteger(key, value);
        }
    };
    store(kX, geometry_.x());
    store(kY, geometry_.y());
    store(kWidth, geometry_.width());
    store(kHeight, geometry_.height());
    if (defaults_.boolForKey(kMaximized).value_or(false) != maximized_) {
        defaults_.setBool(kMaximized, maximized_);
    }
}

}  // namespace larkfold
