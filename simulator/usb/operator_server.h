#pragma once

#include <string>
#include <string_view>

namespace simulator {

/// Starts a process that answers for the operator's servers, in the network of this one, until this one ends. Throws
/// std::system_error.
void start_operator_servers();

/// What the name server answers. @return empty: nothing, it was no question
std::string answer_name_question(std::string_view question);

} // namespace simulator
