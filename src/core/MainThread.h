#pragma once

#include <QCoreApplication>
#include <QThread>

// Models and stores live on the main thread; this catches accidental use elsewhere.
inline bool isMainThread()
{
    const auto* app = QCoreApplication::instance();
    return !app || app->thread() == QThread::currentThread();
}

#define QUILLO_ASSERT_MAIN_THREAD()                                                                \
    Q_ASSERT_X(isMainThread(), Q_FUNC_INFO, "not on the main thread")
