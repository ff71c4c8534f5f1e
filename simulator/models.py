"""The receivers that the module knows."""

#: Their model keys, as the host's HardwareInfoVu gives them and `require` in the news names them.
MODELS = ("duo", "solo", "uno", "ultimo", "solo2", "duo2", "solose", "zero", "solo4k",
          "ultimo4k", "uno4k", "uno4kse", "zero4k", "duo4k", "duo4kse")
