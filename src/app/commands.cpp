#include "app/commands.h"

#include <algorithm>

namespace reelcraft {

QList<QKeySequence> shortcutsOf(const CommandSpec& command) {
  const CommandKeys& given = command.shortcuts;
  QList<QKeySequence> bindings;
  if (given.standard != QKeySequence::UnknownKey)
    bindings = QKeySequence::keyBindings(given.standard);
  if (!bindings.isEmpty()) return bindings;
  for (const QKeyCombination key : given.keys) {
    if (key != QKeyCombination()) bindings.append(QKeySequence(key));
  }
  return bindings;
}

std::optional<Command> keyBindingCommand(int key, Qt::KeyboardModifiers modifiers) {
  if (modifiers & ~(Qt::KeypadModifier | Qt::ShiftModifier)) return std::nullopt;
  const auto bound = std::ranges::find(kCommands, key, &CommandSpec::keyBinding);
  if (bound == kCommands.end() || key == Qt::Key_unknown) return std::nullopt;
  return bound->command;
}

}  // namespace reelcraft
