#pragma once

// Stands in for the FastCGI library at link time: the functions that the web service calls and no
// others, and chmod(). It plays given requests and keeps their answers.

#include <deque>
#include <map>
#include <string>
#include <vector>

namespace fcgx_stand_in {

/// A request: its parameters and its body.
struct Request {
    std::map<std::string, std::string> parameters;
    std::string body;
};

/// A request with the parameters that the service reads.
[[nodiscard]] Request get(const std::string& uri);
[[nodiscard]] Request post(const std::string& uri, const std::string& body);

struct World {
    std::deque<Request> requests;     ///< to be accepted, in order; afterwards accepting fails
    std::vector<std::string> answers; ///< one for each accepted request
    std::vector<std::string> calls;   ///< except reading and writing, with their arguments
    int initResult = 0;
    int socket = 3;
    bool endsTheProcess = false; ///< as the library does when it cannot listen
    int hangsInChildren = -1;    ///< a pipe to tell that it hangs in a child process
    bool hasAlarm = true;        ///< alarm() rings, at once
    int initRequestResult = 0;
    int chmodError = 0; ///< errno's value; 0: it succeeds
};

[[nodiscard]] World& world();
/// Says that children of the calling process are the ones to hang in.
void thisIsTheProcess();
void reset();

} // namespace fcgx_stand_in
