#pragma once

#include <string>
#include <vector>

// The demo host logs one HTTP exchange of its own, as a host that records its traffic does: a POST to
// `baseURL` + "/demo/orders" over the process's URL session, handed to a network logger. Returns the lines
// to print: the stored record's dictionary and the request as a curl command (or why there is none).
std::vector<std::string> logOwnNetworkExchange(const std::string& baseURL);
