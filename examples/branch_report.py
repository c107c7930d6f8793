"""x"""
import orvel_tarnix.utils.git_utils as g
print(g.__file__)
