#pragma once

#include "base/defaults.h"

#include <QString>
#include <QWidget>

#include <functional>
#include <memory>

namespace sorrelwind::test {

/// Registers a picture; call it while the program starts, from an initialiser in the file that
/// knows the view. `make` is called once per appearance and language, with both in force, and the
/// widget is destroyed after its picture was taken.
void addShot(const QString& name, std::function<std::unique_ptr<QWidget>()> make);

/// Preferences that hold the language of the picture being taken, for an L10n over them.
[[nodiscard]] Defaults& shotDefaults();

} // namespace sorrelwind::test
