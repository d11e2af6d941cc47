#pragma once

#include "operations/Alert.h"
#include "update/ReleaseInfo.h"

// The alerts of the update check and of a failed installation, as values.
namespace UpdateAlerts {

// Buttons: install (or download, when Quillo cannot replace itself), later, skip.
enum AvailableButton { installButton = 0, laterButton = 1, skipButton = 2 };

Alert available(const ReleaseInfo& release, const QString& current, bool canInstallInPlace);
Alert upToDate(const QString& current);
// `message` says what went wrong; the advice to check the connection is added here.
Alert failed(const QString& message);

// After an in-place installation failed: download in the browser (button 0) or close.
Alert browserOffer(const QString& description);

} // namespace UpdateAlerts
