# Writes the man page vellmora.1 from the program's own --help texts, so that it lists every command the
# build has. Run at build time: cmake -DVELLMORA=<program> -DVERSION=<x.y.z> -DOUTPUT=<file> -P ManPage.cmake
cmake_minimum_required(VERSION 3.25)

function(help_of out)
  # A sanitizer build's leak report at exit must not fail the build.
  execute_process(COMMAND ${CMAKE_COMMAND} -E env ASAN_OPTIONS=detect_leaks=0 VELLMORA_LOG_LEVEL=error
                          ${VELLMORA} ${ARGN} --help OUTPUT_VARIABLE text RESULT_VARIABLE status
                  ERROR_QUIET)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${VELLMORA} ${ARGN} --help failed (${status})")
  endif()
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# Text as a literal troff block: backslashes doubled, lines that would start a request escaped.
function(troff_literal out text)
  string(REPLACE "\\" "\\e" text "${text}")
  string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
  set(${out} ".nf\n${text}\n.fi\n" PARENT_SCOPE)
endfunction()

function(subcommands_of out help)
  string(REGEX MATCH "[Ss][Uu][Bb][Cc][Oo][Mm][Mm][Aa][Nn][Dd][Ss]:\n(( +[^\n]*\n?)*)" block "${help}")
  set(names "")
  string(REPLACE "\n" ";" lines "${CMAKE_MATCH_1}")
  foreach(line IN LISTS lines)
    if(line MATCHES "^  ([a-z][a-z0-9-]*)")
      list(APPEND names "${CMAKE_MATCH_1}")
    endif()
  endforeach()
  set(${out} "${names}" PARENT_SCOPE)
endfunction()

help_of(root)
subcommands_of(commands "${root}")
troff_literal(rootText "${root}")

set(page ".TH VELLMORA 1 \"\" \"Vellmora ${VERSION}\" \"User Commands\"
.SH NAME
vellmora \\- meeting reminders, call recording, transcripts and a library of recordings
.SH SYNOPSIS
.B vellmora
[\\fIOPTIONS\\fR] \\fICOMMAND\\fR [\\fIARGS\\fR...]
.SH DESCRIPTION
Vellmora watches your calendars for online meetings (Zoom, Microsoft Teams, Google Meet), reminds you
before each one, opens the call and records it, and keeps a library of recordings with transcripts,
AI-written titles, summaries and action items.
.B vellmora run
is the app itself (the tray icon and reminders); the other commands read and change its data and settings.
Every command takes \\fB\\-\\-help\\fR. Errors are one line on standard error; exit status 2 means the input or
usage was wrong, 1 that the operation failed.
${rootText}.SH COMMANDS
")
foreach(command IN LISTS commands)
  help_of(text ${command})
  troff_literal(body "${text}")
  string(APPEND page ".SS ${command}\n${body}")
endforeach()
string(APPEND page ".SH FILES
.TP
.I $XDG_CONFIG_HOME/vellmora/defaults.json
The settings (default folder \\fI~/.config/vellmora\\fR).
.TP
.I $XDG_DATA_HOME/vellmora/
The library and the recordings (default \\fI~/.local/share/vellmora\\fR).
.TP
.I $XDG_CONFIG_HOME/autostart/dev.tessadine.vellmora.desktop
Written by \\fBvellmora autostart on\\fR: Vellmora starts when you log in.
.SH ENVIRONMENT
.TP
.B VELLMORA_CONFIG_HOME, VELLMORA_DATA_HOME, VELLMORA_CACHE_HOME
Replace the per-user folders (as \\fB\\-\\-config\\-dir\\fR, \\fB\\-\\-data\\-dir\\fR and \\fB\\-\\-cache\\-dir\\fR do).
.TP
.B VELLMORA_MCP_HELPER
The MCP helper that \\fBvellmora mcp connect\\fR writes into other apps' settings, instead of the installed one.
.SH SEE ALSO
.BR systemctl (1)
(the user unit \\fIvellmora.service\\fR),
.BR journalctl (1)
")
file(WRITE "${OUTPUT}" "${page}")
