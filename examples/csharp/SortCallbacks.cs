// Sorts strings that are in memory, from C#, and ends a sort early.
//
// A record that is handed over must stay where it is until the next one is asked for, so it lies in memory that
// the collector does not move. An exception in a callback is kept and thrown again behind FsortStart; the status
// that the callback answers ends the sort.
using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Text;

namespace FsortExample
{
    internal sealed class StringSort
    {
        private readonly IList<string> input;
        private readonly int most;
        private readonly List<string> output = new List<string>();
        private int next;
        private IntPtr record = IntPtr.Zero;
        private Exception fault;

        private StringSort(IList<string> input, int most)
        {
            this.input = input;
            this.most = most;
        }

        // The strings in the order of the keys; an InvalidOperationException when there are more than `most`.
        internal static List<string> Sort(IList<string> input, int most, string keys)
        {
            return new StringSort(input, most).Run(keys);
        }

        private List<string> Run(string keys)
        {
            ReadFunction read = Read;
            WriteFunction write = Write;
            IntPtr handle = Fsort.FsortCreate(null, null);
            if (handle == IntPtr.Zero) throw new OutOfMemoryException();
            try
            {
                int status = Fsort.FsortStart(handle, read, write, "-q " + keys);
                if (fault != null) throw fault;
                if (status != 0) throw new ArgumentException(Fsort.FsortMessage(handle));
                return output;
            }
            finally
            {
                Fsort.FsortDestroy(handle);
                Marshal.FreeHGlobal(record);
                GC.KeepAlive(read);
                GC.KeepAlive(write);
            }
        }

        private int Read(out ulong length, out IntPtr address)
        {
            length = 0;
            address = IntPtr.Zero;
            try
            {
                if (next == input.Count) return 0;
                byte[] bytes = Encoding.UTF8.GetBytes(input[next++]);
                Marshal.FreeHGlobal(record); // the one before has been copied
                record = IntPtr.Zero;
                record = Marshal.AllocHGlobal(bytes.Length);
                Marshal.Copy(bytes, 0, record, bytes.Length);
                length = (ulong)bytes.Length;
                address = record;
                return 0;
            }
            catch (Exception caught)
            {
                fault = caught;
                return 1;
            }
        }

        private int Write(ulong length, IntPtr address)
        {
            try
            {
                if (output.Count == most) throw new InvalidOperationException("too many strings");
                byte[] bytes = new byte[length];
                Marshal.Copy(address, bytes, 0, bytes.Length);
                output.Add(Encoding.UTF8.GetString(bytes));
                return 0;
            }
            catch (Exception caught)
            {
                fault = caught;
                return 1;
            }
        }
    }

    internal static class SortCallbacks
    {
        private static int Main()
        {
            string[] rivers = { "Rhein", "Elbe", "Donau", "Wei\u00DFe Elster", "Oder" };
            string sorted = string.Join(" ", StringSort.Sort(rivers, 10, "-k 0-255"));
            Console.WriteLine(sorted);
            if (sorted != "Donau Elbe Oder Rhein Wei\u00DFe Elster") return 1;

            // Many sorts with a collector at work show a delegate or a record that was not kept.
            for (int i = 0; i < 200; ++i)
            {
                if (StringSort.Sort(rivers, 10, "-i")[4] != "Donau") return 1;
                GC.Collect();
            }
            try
            {
                StringSort.Sort(rivers, 2, "");
                return 1;
            }
            catch (InvalidOperationException caught)
            {
                Console.WriteLine("ended early: " + caught.Message);
            }
            try
            {
                StringSort.Sort(rivers, 10, "-zz");
                return 1;
            }
            catch (ArgumentException caught)
            {
                Console.Write(caught.Message);
            }
            return 0;
        }
    }
}
