#pragma once

class QMenu;

namespace sorrelwind {

/// Gives a menu the look of the panel, in the appearance of now: menus are made anew at each
/// opening.
void dress(QMenu& menu);

} // namespace sorrelwind
