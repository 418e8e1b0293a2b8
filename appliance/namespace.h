// The private appliance: a mount namespace of this process in which the appliance's fixed folders are throw-away, and
// the rest of the machine's /etc can be read only.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace annal::appliance {

// Folders that are empty and writable inside, whatever the machine has there.
inline constexpr const char* kLogFolder = "/etc/logs";
inline constexpr const char* kCommandFolders[] = {"/usr/local/sbin", "/sbin"};

// Gives this process mounts of its own, so that it may mount what nobody else sees. Returns an empty text, or why it
// was not possible.
std::string unshare_mounts();

// True inside a private appliance, however this process got there.
bool inside_private_appliance();

// The exit status of what could not be run at all.
inline constexpr int kCannotRun = 125;

// Runs a program with a keeper: a process that stays where this one is, takes in every process that the program leaves
// behind, and ends them when the program has ended or this process is killed. Returns the program's exit status, or 128
// and the signal that ended it; a signal to this process goes to the program. The program is moved into a private
// appliance of its own unless this process is in one.
int run_supervised_on_private_appliance(const char* program, char** argv);

// True when this process is the program of a keeper.
bool is_supervised();

// What this process, and those that it has started, have left behind and what still runs: a detached command, say.
std::vector<pid_t> strays();

// Kills them, and whatever they leave behind. False when that does not work.
bool kill_strays();

// Moves this process into a private appliance of its own; nothing outside it is touched. It works for root and, where
// user namespaces are allowed, for anybody else. Returns an empty text, or why it was not possible.
//
// A process that is not root has every capability of its new user namespace until it runs another program: exec before
// relying on permissions.
std::string enter_private_appliance();

}  // namespace annal::appliance
