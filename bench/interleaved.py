#!/usr/bin/env python3
"""Runs commands in turn, round after round, and prints each one's median wall and CPU time.

    bench/interleaved.py ROUNDS 'COMMAND' 'COMMAND' ...

Comparing two builds this way keeps a machine's drift (other tenants, frequency) out of the ratio:
hyperfine runs all of one command before the next. A command may start with NAME=VALUE words,
which go into its environment. The first two rounds are warm-up and not counted.
"""
import os
import shlex
import statistics
import subprocess
import sys
import time


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    rounds = int(sys.argv[1])
    commands = []
    for text in sys.argv[2:]:
        words, env = shlex.split(text), dict(os.environ)
        while words and "=" in words[0] and not words[0].startswith(("/", ".")):
            name, value = words.pop(0).split("=", 1)
            env[name] = value
        commands.append((text, words, env))
    walls = [[] for _ in commands]
    cpus = [[] for _ in commands]
    for round_ in range(rounds + 2):
        for k, (text, words, env) in enumerate(commands):
            start = time.perf_counter()
            process = subprocess.Popen(words, env=env, stdout=subprocess.DEVNULL)
            _, status, usage = os.wait4(process.pid, 0)
            wall = (time.perf_counter() - start) * 1000
            if status != 0:
                sys.exit(f"interleaved.py: {text} failed")
            if round_ >= 2:
                walls[k].append(wall)
                cpus[k].append((usage.ru_utime + usage.ru_stime) * 1000)
    for k, (text, _, _) in enumerate(commands):
        print(f"{statistics.median(walls[k]):8.1f} ms wall {statistics.median(cpus[k]):8.1f} ms cpu  "
              f"(fastest {min(walls[k]):.1f})  {text}")


if __name__ == "__main__":
    main()
