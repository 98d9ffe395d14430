"""The simulated instrument as a stage: a file tree in a sandbox, and an X server as its screen."""
