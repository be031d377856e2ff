"""Small machines with kernels of their own: user-mode Linux on a private network."""
