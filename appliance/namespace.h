// The private appliance: a mount namespace in which the appliance's fixed folders are temporary and the rest of the
// machine's /etc is read-only.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace annal::appliance {

// Folders that are empty and writable inside.
inline constexpr const char* kLogFolder = "/etc/logs";
inline constexpr const char* kCommandFolders[] = {"/usr/local/sbin", "/sbin"};

// Gives this process its own mounts, so that no one else sees what it mounts. Returns an empty text, or the reason for
// a failure.
std::string unshare_mounts();

// True inside a private appliance, however this process got there.
bool inside_private_appliance();

// The exit status if the program could not be run.
inline constexpr int kCannotRun = 125;

// Runs a program under a supervisor: a process that stays outside the appliance, adopts every process that the program
// leaves running, and kills them when the program ends or this process is killed. Returns the program's exit status, or
// 128 plus the number of the signal that killed it; signals to this process are forwarded to the program. The program
// gets a new private appliance unless this process is already in one.
int run_supervised_on_private_appliance(const char* program, char** argv);

// True if a supervisor runs this process.
bool is_supervised();

// Processes that this one or its descendants have started and that still run detached, such as a consumer's command.
std::vector<pid_t> strays();

// Kills them and their descendants. Returns false if some survive.
bool kill_strays();

// Moves this process into a new private appliance; nothing outside changes. It works for root and, if user namespaces
// are allowed, for any other user. Returns an empty text, or the reason for a failure.
//
// A process that is not root has every capability in its new user namespace until it runs another program: exec before
// you rely on permissions.
std::string enter_private_appliance();

}  // namespace annal::appliance
