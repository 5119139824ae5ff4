/** Throws as often as it is told, each time another object. */
class Throws {
    static class Mine extends RuntimeException {
    }

    static void fail() {
        throw new Mine();
    }

    static void turn() {
    }

    static void round(int times) {
        for (int i = 0; i < times; i++) {
            try {
                fail();
            } catch (Mine expected) {
                continue;
            }
        }
        turn();
    }

    public static void main(String[] arguments) {
        round(1);
        for (int i = 0; i < 2; i++) round(Integer.parseInt(arguments[0]));
        System.exit(3);
    }
}
