"""Compares the module with the model in plain Python, and with that model compiled by Cython.

tools/bench/bench runs compare.py on the machine and worker.py in the sandbox. None of it is a test.
"""
