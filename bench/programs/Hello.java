/** A program of one line. */
class Hello {
    public static void main(String[] arguments) {
        System.out.println("hello");
    }
}
