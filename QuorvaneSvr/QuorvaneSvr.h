#pragma once

class CServer;
class IServer;

// The steps of the start-up, in the order in which main takes them; all of them on the main thread.

constexpr int kAlreadyRunning = -1;  // exit status when another instance runs; the shell sees 255

// Prints the usage or the version when that is all that was asked for. Returns whether it was. Any other
// single argument has no effect.
bool AnswersOption(int argc, char** argv);
// Gives the standard streams that the starter has closed a place where nothing arrives. A FIFO would take it,
// and what is printed would reach the front end in the middle of its messages.
void FillStandardStreams();
// Everything of the service lies in the working folder. False, told on standard error, when that has been
// removed or cannot be named: what is written would land in the root folder.
bool HasWorkingFolder();
// One service for each working folder: stores the own process id in the settings. False, with nothing
// touched, when the stored one belongs to a process that can be signalled.
bool StartSingle();
// Opens the log, one file for each day of a start, and has every level written.
void InitLog();
// Makes the message engines poll or wait, as the settings say; before the first of them starts.
void ChooseMessageEngine();
// Hands the server and the settings to the portal business.
void InitPortal(IServer& server);
// Starts the console client, which runs on threads of its own, when there are an account and a password.
void StartConsoleClient(int argc, char** argv);
// Waits for a front end, also beside a console client, and serves it until the link fails. Prints when the
// link cannot be opened.
void ServeFrontEnd(CServer& server);
// Ends the process at once when a console client was started: that and the portal business may still post
// through the server, so it must not be destroyed. The end of the process closes what is open.
void EndBesideConsoleClient();

// Not used by the service.
// ServeFrontEnd as the body of a thread; takes the CServer and always returns null.
void* ServerPipe(void* server);
