// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

namespace sorvanel {

// Artwork, name, version, a one-line description and the project's web page.
class AboutView : public QWidget
{
    Q_OBJECT

public:
    static constexpr const char *webPage = SORVANEL_HOMEPAGE;

    explicit AboutView(QWidget *parent = nullptr);
    static QString versionText();
};

// Owns the one About window of the process: hidden, not destroyed, on close;
// re-centred and brought forward each time it is shown.
class AboutWindowController
{
public:
    static AboutWindowController &shared();
    void show();
    QWidget *window() const { return m_window; }

private:
    AboutWindowController();
    QWidget *m_window;
};

} // namespace sorvanel
