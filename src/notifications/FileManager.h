// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace sorvanel {

// The user's file manager: shows a folder, or a file selected in its folder.
class FileManager
{
public:
    virtual ~FileManager() = default;
    virtual void showFolder(const QString &folder) = 0;
    virtual void showItem(const QString &file) = 0;
};

// Through org.freedesktop.FileManager1 on the session bus (Nautilus,
// Dolphin, Thunar, Nemo …, started on demand where the bus knows one), or
// else by opening the folder with xdg-open.
class DesktopFileManager : public FileManager
{
public:
    // Waits for the file manager's answer (a short-lived program).
    void showFolder(const QString &folder) override;
    // Returns at once; a file manager that refuses, or none, opens its folder instead.
    void showItem(const QString &file) override;
};

} // namespace sorvanel
