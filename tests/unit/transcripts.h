#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/json.h"
#include "readings/report.h"

/// A command and its reply, as bytes.
struct TranscriptBlock {
    std::string command;
    std::string reply;
};

/// Replies that belong to one state of a modem, and the facts in them.
struct TranscriptScene {
    std::string name; ///< "em12-1 0,1,2"
    std::string driver;
    std::vector<TranscriptBlock> blocks;
    std::string truth; ///< a JSON object
};

/// Every scene of tests/data/transcripts.
const std::vector<TranscriptScene> &transcript_scenes();

/// What the scene answers to command: the replies to it, also if it was asked together with others; empty without one.
std::string answer(const TranscriptScene &scene, const std::string &command);

/// What a modem reports that answers as the scene does, and ERROR to all other questions. change alters each reply.
Report report_of(const TranscriptScene &scene, std::function<std::string(std::string)> change = nullptr);
