// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace sorvanel::UserFolders {

// The user's Downloads folder from the XDG user directories, checked: an
// absolute path to an existing folder that is not the home folder itself
// (user-dirs writes "$HOME/" for a disabled entry). Otherwise ~/Downloads,
// so the home folder is never tidied by default.
QString downloads();

} // namespace sorvanel::UserFolders
