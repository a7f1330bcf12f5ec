// Style sheets that come as text with the part that uses them.
declare module "*.part.css" {
  const css: string;
  export default css;
}
