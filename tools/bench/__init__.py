"""Compares the module with the model in plain Python, and with that model compiled by Cython.

What tools/bench/bench runs: compare.py on the machine, worker.py in the sandbox. Nothing is a test.
"""
