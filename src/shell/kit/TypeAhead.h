// A name typed while a list has the keyboard: the row that it leads to.
//
// What is typed within a second of the last character continues the name; later a new one begins. The same
// letter again and again goes through the names that begin with it. Without regard to case. Main thread only.
#pragma once

#include <QString>
#include <chrono>
#include <functional>
#include <string_view>

namespace larkfold {

class TypeAhead {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    // The bytes of a row's name.
    using NameOfRow = std::function<std::string_view(int row)>;

    static constexpr std::chrono::seconds patience{1};

    explicit TypeAhead(Clock clock = std::chrono::steady_clock::now);

    // Whether a name is being typed, so that a space belongs to it.
    bool isTyping() const;
    // The next row whose name begins with what was typed, `addition` included; -1: none. `current` is the row
    // that the keyboard is on, -1 where it is on none.
    int rowFor(const QString& addition, int current, int rowCount, const NameOfRow& nameOf);
    // The rows are others now.
    void forget();

private:
    Clock clock_;
    QString typed_;
    std::chrono::steady_clock::time_point typedAt_;
};

}  // namespace larkfold
