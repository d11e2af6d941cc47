#pragma once

#include "operations/Alert.h"

#include <QTimer>
#include <deque>
#include <vector>

// Answers alerts from a queue (then with the default button), one event-loop turn
// later, as a dialog would; keeps every alert it was shown.
class ScriptedPrompter : public Prompter {
public:
    std::deque<Alert::Response> answers;
    std::vector<Alert> shown;

    void answerWith(std::initializer_list<int> buttons)
    {
        for (const int button : buttons)
            answers.push_back({button, false});
    }

    void present(const Alert& alert, std::function<void(Alert::Response)> done) override
    {
        shown.push_back(alert);
        Alert::Response answer{alert.defaultButton, false};
        if (!answers.empty()) {
            answer = answers.front();
            answers.pop_front();
        }
        QTimer::singleShot(0, [done, answer] { done(answer); });
    }
};
