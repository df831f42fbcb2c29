// SPDX-License-Identifier: GPL-3.0-or-later
// libFuzzer target: a settings file of arbitrary bytes is opened and read as
// every program reads it. Whatever it holds, nothing may crash.
#include "SettingsStore.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static QTemporaryDir home;
    static const bool environment = [] {
        qputenv("HOME", QFile::encodeName(home.path()));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path() + QStringLiteral("/config")));
        return true;
    }();
    (void)environment;
    QDir(home.path() + QStringLiteral("/config/sorvanel")).removeRecursively();
    QDir().mkpath(home.path() + QStringLiteral("/config/sorvanel"));
    QFile file(sorvanel::DefaultsSuite::pathForSuite(sorvanel::SettingsStore::suiteName()));
    if (!file.open(QIODevice::WriteOnly))
        return 0;
    file.write(reinterpret_cast<const char *>(data), qsizetype(size));
    file.close();

    sorvanel::SettingsStore store;
    store.load();
    store.loadLastResult();
    store.loadHistory();
    store.defaults().all();
    return 0;
}
