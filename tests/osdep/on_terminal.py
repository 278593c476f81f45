#!/usr/bin/python3
"""Runs a command with a terminal as its standard streams and passes on what it shows and returns."""
import os
import pty
import sys

sys.exit(os.waitstatus_to_exitcode(pty.spawn(sys.argv[1:])))
