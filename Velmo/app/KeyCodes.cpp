#include "KeyCodes.h"

#include <QKeyEvent>

#include <array>
#include <utility>

namespace velmo {

namespace {

struct KeyName {
    int evdev;  // Linux input event code of the key at this position
    Qt::Key key;  // what it types on a US layout
    int code;
};

constexpr std::array<KeyName, 31> keys{{
    {30, Qt::Key_A, 0},         {31, Qt::Key_S, 1},          {32, Qt::Key_D, 2},
    {33, Qt::Key_F, 3},         {35, Qt::Key_H, 4},          {34, Qt::Key_G, 5},
    {44, Qt::Key_Z, 6},         {45, Qt::Key_X, 7},          {46, Qt::Key_C, 8},
    {47, Qt::Key_V, 9},         {48, Qt::Key_B, 11},         {16, Qt::Key_Q, 12},
    {17, Qt::Key_W, 13},        {18, Qt::Key_E, 14},         {19, Qt::Key_R, 15},
    {21, Qt::Key_Y, 16},        {20, Qt::Key_T, 17},         {24, Qt::Key_O, 31},
    {22, Qt::Key_U, 32},        {23, Qt::Key_I, 34},         {25, Qt::Key_P, 35},
    {38, Qt::Key_L, 37},        {36, Qt::Key_J, 38},         {40, Qt::Key_Apostrophe, 39},
    {37, Qt::Key_K, 40},        {39, Qt::Key_Semicolon, 41}, {28, Qt::Key_Return, KeyCode::returnKey},
    {57, Qt::Key_Space, KeyCode::space}, {14, Qt::Key_Backspace, KeyCode::deleteKey},
    {111, Qt::Key_Delete, KeyCode::forwardDelete}, {96, Qt::Key_Enter, KeyCode::returnKey},
}};

constexpr int xkbOffset = 8;

} // namespace

std::optional<int> keyCodeOf(const QKeyEvent& event) {
    if (const quint32 scan = event.nativeScanCode(); scan > xkbOffset) {
        for (const KeyName& k : keys)
            if (k.evdev + xkbOffset == static_cast<int>(scan)) return k.code;
        return std::nullopt;
    }
    for (const KeyName& k : keys)
        if (k.key == event.key()) return k.code;
    return std::nullopt;
}

} // namespace velmo
