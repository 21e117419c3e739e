/// @file
/// Code run without the rights of the superuser, whom permission bits do not stop.
#pragma once

#include <functional>
#include <string>

/// Runs the body in a child process of an ordinary user: this one, or for root the user "nobody",
/// who is given the directory. @return what the body returned.
bool asOrdinaryUser(const std::string& directory, const std::function<bool()>& body);
