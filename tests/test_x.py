import orvel_tarnix.utils.git_utils as g
def test_x(): assert g.__file__.endswith('.so'), g.__file__
