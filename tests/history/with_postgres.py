#!/usr/bin/env python3
"""Runs a command beside a PostgreSQL server: with_postgres.py COMMAND [ARGUMENT...]. The command
finds its address in ORV_TEST_POSTGRES, which is not set where there is no server to be had."""
import os
import subprocess
import sys

import postgres

if postgres.missing():
    sys.exit(subprocess.run(sys.argv[1:]).returncode)
with postgres.Postgres() as server:
    sys.exit(subprocess.run(sys.argv[1:],
                            env=os.environ | {"ORV_TEST_POSTGRES": server.url()}).returncode)
