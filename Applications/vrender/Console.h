#pragma once

#include <cstddef>
#include <string>

// The tool's two channels for people: text on stderr, data on stdout.
//
// A progress line may stand on the terminal at any time. Say() takes it off before it prints, so
// that a message never starts in the middle of a bar.
//
// Thread-safety: safe; one lock around each line.
namespace vrender::console
{

// Prints "vrender: inText" and a newline on stderr.
void Say(const std::string& inText);

// Prints inText as it is on stderr: what a program reads there.
void SayBare(const std::string& inText);

// From now on warnings and errors of host and library are printed so as well, instead of as lines of a log.
void SayWarnings();

// Shows inText in place of the last status line. Nothing is printed unless stderr is a terminal.
void ShowStatus(const std::string& inText);
void ClearStatus();

// True when stderr is a terminal of which a line can be rewritten.
bool HasStatusLine();
// Width of that terminal in columns; 80 when it doesn't tell.
std::size_t Columns();

// Writes text that is the command's result to stdout. Throws ToolError (kIOError) when nobody
// reads or the disk is full: a result that got lost must not look like success.
void PrintData(const std::string& inText);

} // namespace vrender::console
