#pragma once

#include "core/Location.h"

#include <QWidget>
#include <optional>

class QHBoxLayout;
class QLineEdit;
class QStackedLayout;

// Shows the pane's location as clickable segments, or a text field while the
// path is being typed (Ctrl+L), where Tab completes folder names.
class PathBar : public QWidget {
    Q_OBJECT
public:
    explicit PathBar(QWidget* parent = nullptr);

    void setLocation(const Location& location);
    void beginEditing();
    void endEditing();
    bool isEditing() const;
    void setMarked(bool marked);

Q_SIGNALS:
    void segmentClicked(const std::filesystem::path& folder);
    // A typed path, resolved off the main thread: a folder, or a file's folder with
    // the file to select.
    void locationEntered(const Location& location,
                         const std::optional<std::filesystem::path>& select);
    // Return or Escape give the list its focus back; leaving the field does not.
    void editingFinished(bool focusList);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void rebuildSegments();
    void resolveTypedPath(const QString& typed);
    void completeTypedPath();
    std::filesystem::path baseFolder() const;

    Location m_location;
    QStackedLayout* m_stack = nullptr;
    QWidget* m_segments = nullptr;
    QHBoxLayout* m_segmentLayout = nullptr;
    QLineEdit* m_edit = nullptr;
};
